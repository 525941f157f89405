// A farm's certificates over ten years, by a clock that the test moves. At each step everybody who holds
// valid credentials is let in, and nobody else is.
#include <thread>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "brenic/ManagementMessages.h"
#include "brenic/MessageFactory.h"
#include "manage/Alone.h"
#include "manage/Backup.h"
#include "manage/Certificates.h"
#include "manage/Check.h"
#include "manage/ClientCredentials.h"
#include "manage/Endings.h"
#include "manage/Initialise.h"
#include "manage/Registrar.h"
#include "manage/Restore.h"
#include "serve/Server.h"
#include "serve/TestClient.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {
namespace {

using testing::HasSubstr;

constexpr int64_t k_StoryDay = TrustedClock::k_Day;

/// A Master in this process whose clock is moved.
class Farm10 {
public:
  explicit Farm10(const Path& folder) : m_Folder(folder) {
    if (!IsInitialised(folder))
      Initialise({folder, "Farm", {"farm.example"}, 0});
    m_Wall = rlib::Time::Now().Milliseconds();
    Start();
  }
  ~Farm10() { End(); }

  void Start() {
    ServerOptions options;
    options.m_Settings.m_Start.m_Listen = {"127.0.0.1:0"};
    options.m_ManagementSocket = ManagementSocket(m_Folder);
    options.m_LookEvery = std::chrono::milliseconds(2);
    options.m_Care = {[this](Store& store, const Message& message, const Moment& moment) {
                        return Register(m_Folder, store, message, moment);
                      },
                      IsRenewalDue,
                      [this](Store& store, int64_t now) {
                        const std::lock_guard lock(m_Mutex);
                        for (const String& line : m_Endings.News(store, now))
                          m_Warnings.push_back(line.str());
                        ++m_Cares;
                        return std::vector<String>();
                      }};
    auto store = std::make_unique<SqliteStore>(m_Folder, Database::Mode::k_ReadWrite);
    const auto known = TrustedClock::KnownFrom(store->LoadClock(), store->TimeOfLastRecord());
    options.m_Clock = std::make_shared<TrustedClock>(
        Clocks{[this] { return m_Wall.load(); }, [this] { return m_Running.load(); }}, known);
    m_Server = std::make_unique<Server>(options, std::move(store),
                                        std::make_unique<SqliteStore>(m_Folder, Database::Mode::k_ReadOnly));
    m_Thread = std::thread([this] { m_Server->Run(); });
  }
  void End() {
    m_Server->Stop();
    m_Thread.join();
    m_Server.reset();
  }

  void Restart() {
    End();
    Start();
  }
  /// The machine is lost; of its folder there is the backup and the file `revoked`.
  void RestoreElsewhere(const Path& folder, const Path& backup, const std::string& host) {
    End();
    Restore({folder, backup, {}, {host}, false, RevokedFile(m_Folder)}, AskAlone);
    m_Folder = folder;
    Start();
  }
  CopiedState MakeBackup(const Path& file) { return Backup({m_Folder, file}); }

  /// Lets so many days pass, with a look at the certificates at least every 15 days.
  void Pass(int days) {
    while (days > 0) {
      const int step = std::min(days, 15);
      m_Running += step * k_StoryDay;
      m_Wall += step * k_StoryDay;
      WaitForCare();
      days -= step;
    }
  }
  /// Sets the clock.
  void Step(int64_t milliseconds) { m_Wall += milliseconds; }
  int64_t Now() const { return m_Wall; }

  String Ask(const Message& message) {
    const auto asked = AskRunning(m_Folder, message);
    if (!asked)
      throw std::runtime_error("the Master does not serve");
    return asked->m_Text;
  }
  /// Issues credentials into a folder of that name and returns it.
  std::string Issue(const String& name, const std::string& folder, const String& role, int days = 0) {
    return Write({m_Folder, name, role, Path(m_Out / folder), days, {}, false, 0}, folder);
  }
  std::string Renew(const String& name, const std::string& folder, const String& role = {},
                    int overlap = 14) {
    return Write({m_Folder, name, role, Path(m_Out / folder), 0, {}, true, overlap}, folder);
  }

  /// With a client whose clock is the Master's, or another one.
  TestClient Connect(const std::string& credentials, std::optional<int64_t> clock = {}) {
    return TestClient::Tls(m_Server->Port(), credentials, nullptr, clock.value_or(m_Wall));
  }
  /// Whether the credentials are let in; why not, otherwise.
  std::string Outcome(const std::string& credentials) {
    try {
      TestClient client = Connect(credentials);
      const auto frames = client.Greet();
      if (frames.empty())
        return "the connection ended";
      return frames.back().has_goodbye() ? frames.back().goodbye().text() : "in";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }
  /// The Goodbye that ends the open connection within the time.
  static std::string EndOf(TestClient& client) {
    return client.ReceiveOnly(wire::Frame::kGoodbye).goodbye().text();
  }

  MasterRecord Record() { return SqliteStore(m_Folder, Database::Mode::k_ReadOnly).LoadMaster(); }
  std::vector<std::string> Problems() const { return CheckFolder(m_Folder).Problems(); }
  std::vector<std::string> TakeWarnings() {
    const std::lock_guard lock(m_Mutex);
    return std::exchange(m_Warnings, {});
  }

private:
  std::string Write(const ClientOptions& options, const std::string& folder) {
    IssueCredentials(options, [this](const Path&, const Message& message) {
      auto asked = AskRunning(m_Folder, message);
      if (!asked)
        throw std::runtime_error("the Master does not serve");
      return *asked;
    });
    return m_Out / folder;
  }
  /// Until a look that began after this has come to its end, and what it asked for is done.
  void WaitForCare() {
    const auto cares = [this] {
      const std::lock_guard lock(m_Mutex);
      return m_Cares;
    };
    const int before = cares();
    while (cares() == before)
      std::this_thread::yield();
    // Refused, and behind all that the look has asked for.
    try {
      RevokeClientMsg nobody;
      nobody.m_ID = UID(true);
      nobody.m_Client = "nobody";
      (void)AskRunning(m_Folder, nobody);
    } catch (Exception* refused) {
      delete refused;
    }
  }

  Path m_Folder;
  const TempFolder m_Out;
  std::atomic<int64_t> m_Wall{0};
  std::atomic<int64_t> m_Running{1};
  std::mutex m_Mutex;
  Endings m_Endings;
  std::vector<std::string> m_Warnings;
  int m_Cares = 0;
  std::unique_ptr<Server> m_Server;
  std::thread m_Thread;
};

template <typename Class>
Class Request() {
  Class message;
  message.m_ID = UID(true);
  return message;
}
RevokeClientMsg RevocationOf(const String& client) {
  auto message = Request<RevokeClientMsg>();
  message.m_Client = client;
  return message;
}

class TenYears : public testing::Test {
protected:
  /// Who is let in, and of whom nobody else.
  void Expect(const std::map<std::string, bool>& who, const char* when) {
    for (const auto& [folder, isIn] : who) {
      const std::string outcome = m_Farm.Outcome(folder);
      EXPECT_EQ(outcome == "in", isIn) << when << ": " << folder << ": " << outcome;
    }
  }

  const TempFolder m_Folder;
  Farm10 m_Farm{Path(m_Folder / "data")};
  const int64_t m_Began = m_Farm.Now();
};

TEST_F(TenYears, NobodyWithValidCredentialsIsRefusedAndNobodyElseIsLetIn) {
  const std::string admin = m_Folder / "data/clients/admin";
  const std::string a = m_Farm.Issue("a", "a", "component");
  const std::string b = m_Farm.Issue("b", "b", "component");
  const std::string boss = m_Farm.Issue("boss", "boss", "administrator", 3000);
  Expect({{admin, true}, {a, true}, {b, true}, {boss, true}}, "at the beginning");

  // The machine is lost, and with it what was revoked since the backup.
  const std::string lost = m_Farm.Issue("lost", "lost", "administrator");
  m_Farm.MakeBackup(m_Folder / "backup");
  m_Farm.Ask(RevocationOf("lost"));
  m_Farm.RestoreElsewhere(m_Folder / "elsewhere", m_Folder / "backup", "farm.example");
  Expect({{admin, true}, {a, true}, {b, true}, {boss, true}, {lost, false}}, "on another machine");

  // An open connection outlives the renewal of the Master's own certificate.
  TestClient open = m_Farm.Connect(boss);
  open.Greet();
  const std::string own = m_Farm.Record().m_Server.m_Certificate;
  m_Farm.Pass(660);
  EXPECT_NE(m_Farm.Record().m_Server.m_Certificate, own);
  Expect({{admin, true}, {a, true}, {b, true}, {boss, true}}, "after the Master's renewal");
  EXPECT_EQ(open.Ask(*SetOption("a", "1")).outcome(), wire::Answer::COMMITTED);
  m_Farm.Pass(15);
  EXPECT_THAT(m_Farm.TakeWarnings(), testing::Contains(HasSubstr("end within 60 days: 'a' on")));

  const std::string a2 = m_Farm.Renew("a", "a2");
  const std::string admin2 = m_Farm.Renew("admin", "admin2");
  Expect({{a, true}, {a2, true}, {admin, true}, {admin2, true}}, "in the overlap");
  m_Farm.Pass(15);
  Expect({{a, false}, {a2, true}, {b, true}, {admin, false}, {admin2, true}}, "after the overlap");
  TestClient late = m_Farm.Connect(b);
  late.Greet();
  m_Farm.Pass(50);
  EXPECT_THAT(Farm10::EndOf(late), HasSubstr("The certificate of 'b' ended on"));
  Expect({{a2, true}, {b, false}, {admin2, true}}, "after the end of b");
  EXPECT_THAT(m_Farm.Outcome(b), HasSubstr("brenic-master client NAME --renew"));
  const std::string b2 = m_Farm.Renew("b", "b2");

  // Revoked and demoted: open connections end.
  const std::string thief = m_Farm.Issue("thief", "thief", "administrator");
  TestClient stolen = m_Farm.Connect(thief);
  stolen.Greet();
  m_Farm.Ask(RevocationOf("thief"));
  EXPECT_THAT(Farm10::EndOf(stolen), HasSubstr("was revoked on"));
  const std::string boss2 = m_Farm.Renew("boss", "boss2", "component");
  EXPECT_THAT(Farm10::EndOf(open), HasSubstr("it is component now"));
  TestClient demoted = m_Farm.Connect(boss);
  demoted.Greet();
  EXPECT_EQ(demoted.Ask(*SetOption("a", "2")).outcome(), wire::Answer::REFUSED);
  Expect({{a2, true}, {b2, true}, {admin2, true}, {thief, false}, {boss, true}, {boss2, true}},
         "after a theft");

  // A wrong clock, three years ahead: the clients' own clocks are right.
  TestClient patient = m_Farm.Connect(a2);
  patient.Greet();
  m_Farm.Step(3 * 365 * k_StoryDay);
  const auto right = [&](const std::string& credentials) {
    TestClient client = m_Farm.Connect(credentials, m_Farm.Now() - 3 * 365 * k_StoryDay);
    return client.Greet().back().has_goodbye();
  };
  for (const std::string& credentials : {a2, b2, admin2, boss2})
    EXPECT_FALSE(right(credentials)) << credentials;
  EXPECT_TRUE(right(thief));
  m_Farm.Restart(); // does not make it right
  for (const std::string& credentials : {a2, b2, admin2, boss2})
    EXPECT_FALSE(right(credentials)) << credentials;
  m_Farm.Step(-3 * 365 * k_StoryDay);
  m_Farm.Restart();
  Expect({{a2, true}, {b2, true}, {admin2, true}, {thief, false}, {boss2, true}}, "with the right clock");

  // Everybody is renewed in time, year after year, up to the eighth.
  std::map<std::string, std::string> current{{"a", a2}, {"b", b2}, {"admin", admin2}, {"boss", boss2}};
  const auto renewAll = [&](const char* suffix, int day) {
    for (auto& [name, folder] : current) {
      const std::string earlier = folder;
      folder = m_Farm.Renew(String(name), name + suffix);
      Expect({{earlier, true}, {folder, true}}, "while all are renewed");
      m_Farm.Pass(day);
    }
  };
  for (const char* suffix : {"3", "4", "5"}) {
    m_Farm.Pass(600);
    renewAll(suffix, 1);
  }
  (void)m_Farm.TakeWarnings();

  // A new authority, and another host: nobody is visited for it.
  const String said = m_Farm.Ask(Request<RenewAuthorityMsg>());
  EXPECT_THAT(said.str(), HasSubstr("renew all clients by then"));
  for (const auto& [name, folder] : current)
    Expect({{folder, true}}, "after the new authority");
  auto hosts = Request<ChangeHostsMsg>();
  hosts.m_Add = {"render.example"};
  hosts.m_Remove = {"farm.example"};
  m_Farm.Ask(hosts);
  m_Farm.Pass(300);
  const std::string away = m_Farm.Issue("away", "away", "component", 30); // of the new one already
  for (const auto& [name, folder] : current)
    Expect({{folder, true}}, "after another host");
  EXPECT_THAT(ReadTextFile(away + "/brenic.conf"), HasSubstr("Master = render.example\n"));
  const std::map<std::string, std::string> last = current;
  m_Farm.Pass(200);
  renewAll("6", 5);
  EXPECT_EQ(m_Farm.Record().m_Authorities.size(), 2u);
  m_Farm.Pass(20); // the last certificate of the earlier authority has run out
  const MasterRecord rolled = m_Farm.Record();
  EXPECT_EQ(rolled.m_Authorities.size(), 1u);
  EXPECT_EQ(rolled.m_ServerAuthority, 2);
  for (const auto& [name, folder] : current)
    Expect({{folder, true}}, "after the roll-over");
  for (const auto& [name, folder] : last)
    Expect({{folder, false}}, "after the roll-over, with what went before");
  Expect({{away, false}, {thief, false}, {a, false}, {boss, false}}, "after the roll-over");

  // The first authority's own end, ten years after the beginning.
  m_Farm.Pass(600);
  renewAll("7", 1);
  m_Farm.Pass(20);
  for (const auto& [name, folder] : current)
    Expect({{folder, true}}, "after ten years");
  EXPECT_GT(m_Farm.Now(), m_Began + k_AuthorityDays * k_StoryDay);

  // Only this machine's clock is another one.
  EXPECT_THAT(m_Farm.Problems(), testing::ElementsAre(HasSubstr("is far ahead")));
}

} // namespace
} // namespace brenic::master
