#include <openssl/sha.h>

#include "ClientTest.h"
#include "TempFolder.h"
#include "rlib/Log.h"

namespace brenic {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

std::string Sha256(const std::string& bytes) {
  std::string digest(SHA256_DIGEST_LENGTH, '\0');
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
         reinterpret_cast<unsigned char*>(digest.data()));
  return digest;
}

std::string BasisOf(const wire::Frame& frame) {
  return frame.message().basis();
}

shared_ptr<SetMasterOptionsMsg> WriteUserLimits() {
  const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
  message->m_Section = "Distribution";
  message->m_Options["UserLimits"] = "a;1";
  return message;
}

TEST_F(ClientTest, OptionsThatNobodyAskedForAreDropped) {
  const auto pushed = Write("pushed");
  m_App.m_OnProducts = [&] {
    m_Master.Post([&](Link& link) {
      m_Master.Push(link, *pushed);
      m_Master.Push(link, *MessageFactory::Create<LogDumpMsg>());
    });
  };
  m_App.m_OnPass = [this] { return m_App.m_Unhandled.empty(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(m_App.m_Options.empty());
}

TEST_F(ClientTest, MessagesThatNoSlotTakesReachOnUnhandledMessage) {
  m_App.m_OnProducts = [this] {
    m_Master.Post([this](Link& link) { m_Master.Push(link, *MessageFactory::Create<RemoveProductMsg>()); });
  };
  m_App.m_OnPass = [this] { return m_App.m_Unhandled.empty(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(m_App.m_Unhandled, ElementsAre(String("RemoveProductMsg")));
}

TEST_F(ClientTest, ALogDumpMessageMakesADumpFile) {
  TempFolder folder;
  ASSERT_TRUE(rlib::Log::Open("tester", Path(folder.Name()), rlib::Log::k_Debug, rlib::Log::k_Nothing));
  const size_t before = folder.Count();
  m_App.m_OnProducts = [this] {
    m_Master.Post([this](Link& link) { m_Master.Push(link, *MessageFactory::Create<LogDumpMsg>()); });
  };
  m_App.m_OnPass = [this] { return m_App.m_Unhandled.empty(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(folder.Count(), before + 1);
  rlib::Log::Close();
}

TEST_F(ClientTest, UnknownFramesAndMessageClassesAreSkipped) {
  m_App.m_OnProducts = [this] {
    m_Master.Post([this](Link& link) {
      link.SendBytes(std::string("\0\0\0\3\xf2\x06\0", 7)); // field 110
      wire::Frame unknown;
      unknown.mutable_message()->set_id(wire::IdentifierBytes(UID(true)));
      link.Send(unknown);
      m_Master.Push(link, *MessageFactory::Create<LogDumpMsg>());
    });
  };
  m_App.m_OnPass = [this] { return m_App.m_Unhandled.empty(); };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Master.Connections(), 1);
}

TEST_F(ClientTest, AMalformedFrameLaterOnIsFinalToo) {
  Plan plan;
  plan.m_GarbageLater = std::string("\0\0\0\2\xff\xff", 6);
  m_Master.m_Plans = {plan};
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(m_Master.Connections(), 1);
  EXPECT_EQ(m_App.m_ProductsSeen, 1);
  EXPECT_EQ(m_Lines,
            "The Master at fake:1 does not keep to the protocol: received a frame that cannot be decoded; "
            "compare the versions of this program and of the Master\n");
}

TEST_F(ClientTest, AnExceptionFromASlotReachesOnExceptionAndEndsTheRunWithOne) {
  m_App.m_OnProducts = [] { throw new Exception("from the slot"); };
  EXPECT_EQ(Run(), 1);
  EXPECT_THAT(m_App.m_Exceptions, ElementsAre(String("from the slot")));
}

TEST_F(ClientTest, RequestsOfSeveralThreadsKeepEachThreadsOrder) {
  constexpr int k_Threads = 4;
  constexpr int k_Each = 200;
  m_App.m_OnProducts = [this] {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < k_Threads; ++thread) {
      threads.emplace_back([thread] {
        for (int i = 0; i < k_Each; ++i)
          SendNew(Write(std::to_string(thread * 1000 + i)));
      });
    }
    for (auto& thread : threads)
      thread.join();
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
  std::vector<int> next(k_Threads, 0);
  for (const auto& frame : m_Master.Frames()) {
    if (!frame.has_message())
      continue;
    const int value = std::stoi(frame.message().set_master_options().options(0).value());
    EXPECT_EQ(next[static_cast<size_t>(value / 1000)]++, value % 1000);
  }
  EXPECT_THAT(next, testing::Each(k_Each));
}

TEST_F(ClientTest, ASlowAnswerIsMentionedOnce) {
  m_App.m_Timing.m_Notice = std::chrono::milliseconds(20);
  m_Master.m_OnRequest = [](Link&, const wire::Envelope&) {};
  m_App.m_OnProducts = [this] {
    const UID id = SendNew(Write());
    EXPECT_FALSE(Messenger::WaitForSent(id, 0.3F));
    m_Master.Post([this](Link& link) { m_Master.Serve(link, m_Master.Frames().back().message()); });
    EXPECT_TRUE(Messenger::WaitForSent(id, 30));
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Lines, "Waiting for the Master at fake:1 to answer 1 request(s)\n");
}

TEST_F(ClientTest, ASlowProductListIsMentioned) {
  m_App.m_Timing.m_Notice = std::chrono::milliseconds(20);
  Plan plan;
  plan.m_HoldProducts = true;
  m_Master.m_Plans = {plan};
  bool waited = false;
  m_App.m_OnPass = [&] {
    if (!Messenger::ConnectedTime().IsZero() && !std::exchange(waited, true)) {
      EXPECT_FALSE(Messenger::WaitForSent(UID(true), 0.3F));
      m_Master.Post([this](Link& link) { m_Master.SendProducts(link); });
    }
    return m_App.m_ProductsSeen == 0;
  };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(m_Lines, "Waiting for the product list of the Master at fake:1\n");
}

// --- what a write of a whole value was made from ---

TEST_F(ClientTest, AWriteOfAWholeValueCarriesTheDigestOfWhatWasDelivered) {
  m_Master.m_Translations.emplace();
  wire::Root& root = *m_Master.m_Translations->add_translations()->add_roots();
  root.set_platform(1);
  root.set_root("/mnt/a");
  m_Master.m_OnRequest = [this](Link& link, const wire::Envelope& request) {
    if (request.has_get_master_options())
      m_Master.Reply(link, request, "joe;5");
    m_Master.Answer(link, request.id());
  };
  m_App.m_OnTranslations = [] {};
  m_App.m_OnProducts = [] {
    SendNew(WriteUserLimits()); // none was delivered yet
    SendNew(Read());
  };
  m_App.m_OnOptions = [this] {
    SendNew(WriteUserLimits());
    SendNew(MessageFactory::Create<PathTranslationsMsg>());
    SendNew(Write()); // no whole value
    m_App.Stop();
  };
  EXPECT_EQ(Run(), 0);
  const auto frames = m_Master.Frames();
  ASSERT_THAT(frames, SizeIs(6));
  EXPECT_EQ(BasisOf(frames[1]), "");
  EXPECT_EQ(BasisOf(frames[3]), Sha256("joe;5"));
  EXPECT_EQ(BasisOf(frames[4]), Sha256(m_Master.m_Translations->SerializeAsString()));
  EXPECT_EQ(BasisOf(frames[5]), "");
}

} // namespace
} // namespace brenic
