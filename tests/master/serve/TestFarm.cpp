#include "serve/TestFarm.h"

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

constexpr int k_LongestSeconds = 60;

pid_t Start(const std::vector<std::string>& arguments, int output, int errors) {
  std::vector<char*> list{const_cast<char*>(BRENIC_MASTER)};
  for (const auto& argument : arguments)
    list.push_back(const_cast<char*>(argument.c_str()));
  list.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (output >= 0)
      dup2(output, 1);
    if (errors >= 0)
      dup2(errors, 2);
    alarm(k_LongestSeconds); // whatever happens to the test, the program does not stay
    execv(BRENIC_MASTER, list.data());
    _exit(127);
  }
  return child;
}

int Status(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

Ended RunMaster(const std::vector<std::string>& arguments) {
  const TempFolder folder;
  const int output = open((folder / "out").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  const int errors = open((folder / "err").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  Ended ended;
  ended.m_Status = Status(Start(arguments, output, errors));
  close(output);
  close(errors);
  ended.m_Output = ReadTextFile(folder / "out");
  ended.m_Errors = ReadTextFile(folder / "err");
  return ended;
}

TestFarm::TestFarm(const std::string& configuration) {
  WriteTextFile(File("master.conf"), "[Master]\n" + configuration);
  const Ended made = RunMaster({"init", "--data-dir", Data(), "--name", "Farm"});
  if (made.m_Status != 0)
    throw std::runtime_error(made.m_Errors);
}

TestFarm::~TestFarm() {
  if (m_Process) {
    kill(m_Process, SIGKILL);
    Wait();
  }
}

void TestFarm::Serve() {
  int pipes[2];
  if (pipe2(pipes, O_CLOEXEC) != 0)
    throw std::runtime_error("pipe");
  m_Process =
      Start({"serve", "--data-dir", Data(), "--listen", "127.0.0.1:0", "--socket", Socket(), "--config",
             File("master.conf"), "--products", SAMPLE_PRODUCTS, "--port-file", File("port")},
            pipes[1], -1);
  close(pipes[1]);
  std::string line;
  for (char c = 0; c != '\n' && read(pipes[0], &c, 1) == 1;)
    line += c;
  close(pipes[0]);
  if (line.rfind("Serving on 127.0.0.1:", 0) != 0)
    throw std::runtime_error("the Master does not serve: " + line);
  m_Port = static_cast<uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
}

void TestFarm::Signal(int signal) {
  kill(m_Process, signal);
}

size_t TestFarm::MostMemory() const {
  const std::string status = ReadTextFile("/proc/" + std::to_string(m_Process) + "/status");
  return std::stoul(status.substr(status.find("VmHWM:") + 6)) * 1024;
}

int TestFarm::Wait() {
  return Status(std::exchange(m_Process, 0));
}

TestClient TestFarm::Connect() const {
  return TestClient::Local(Socket());
}

TestClient TestFarm::Join() const {
  TestClient client = Connect();
  client.Greet();
  return client;
}

TestClient TestFarm::ConnectTls(const std::string& credentials) const {
  return TestClient::Tls(m_Port, credentials);
}

std::string TestFarm::Issue(const std::string& name, const std::string& role,
                            const std::vector<std::string>& more) const {
  std::vector<std::string> arguments{"client",     name,   "--role", role,
                                     "--data-dir", Data(), "--out",  File(name)};
  arguments.insert(arguments.end(), more.begin(), more.end());
  const Ended ended = RunMaster(arguments);
  if (ended.m_Status != 0)
    throw std::runtime_error(ended.m_Errors);
  return File(name);
}

void TestFarm::Forget(const std::string& data, const std::string& name) {
  SqliteStore store(data, Database::Mode::k_ReadWrite);
  Statement(store.Connection().Handle(), "DELETE FROM client WHERE name = ?").Run(name);
}

nlohmann::json TestFarm::State() const {
  return nlohmann::json::parse(RunMaster({"state", "--json", "--data-dir", Data()}).m_Output);
}

std::vector<nlohmann::json> TestFarm::Audit() const {
  std::istringstream lines(RunMaster({"audit", "--json", "--data-dir", Data()}).m_Output);
  std::vector<nlohmann::json> records;
  for (std::string line; std::getline(lines, line);) {
    auto record = nlohmann::json::parse(line);
    if (record["message"]["class"] != "IssueClientMsg")
      records.push_back(std::move(record));
  }
  return records;
}

} // namespace brenic::master
