// A Master's data folder with a running `brenic-master`, and ways to ask it things.
#pragma once

#include <nlohmann/json.hpp>

#include "TempFolder.h"
#include "serve/TestClient.h"

namespace brenic::master {

/// How a program ended.
struct Ended {
  int m_Status = -1; // exit status, or 128 plus the signal
  std::string m_Output;
  std::string m_Errors;
};

/// Runs brenic-master to its end; it is killed when it does not end in a minute.
Ended RunMaster(const std::vector<std::string>& arguments);

/// A Master process. Killed, at the latest, on destruction.
class TestFarm {
public:
  explicit TestFarm(const std::string& configuration = "");
  ~TestFarm();

  /// Starts brenic-master and waits until it says that it serves.
  void Serve();
  void Signal(int signal);
  /// Waits for the end; the exit status, or 128 plus the signal.
  int Wait();
  /// The most memory that the running Master has held so far, in bytes.
  size_t MostMemory() const;

  std::string Data() const { return m_Folder / "data"; }
  std::string Socket() const { return m_Folder / "socket"; }
  std::string File(const std::string& name) const { return m_Folder / name; }
  uint16_t Port() const { return m_Port; }

  /// A connection through the local socket, not greeted yet.
  TestClient Connect() const;
  /// The same, welcomed.
  TestClient Join() const;
  /// A connection over TLS with the credentials of that folder.
  TestClient ConnectTls(const std::string& credentials) const;
  /// Issues credentials and returns their folder.
  std::string Issue(const std::string& name, const std::string& role,
                    const std::vector<std::string>& more = {}) const;

  /// Takes the client out of the database, as if its certificate had never been recorded.
  static void Forget(const std::string& data, const std::string& name);

  nlohmann::json State() const;
  /// Without what Issue has left there.
  std::vector<nlohmann::json> Audit() const;

private:
  TempFolder m_Folder;
  pid_t m_Process = 0;
  uint16_t m_Port = 0;
};

} // namespace brenic::master
