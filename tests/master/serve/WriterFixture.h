// A Writer on a store of its own, and what its results say.
#pragma once

#include <condition_variable>
#include <mutex>

#include <gmock/gmock.h>

#include "TempFolder.h"
#include "brenic/Options.h"
#include "farm/Samples.h"
#include "serve/Writer.h"
#include "store/Defaults.h"
#include "store/SqliteStore.h"
#include "wire/Contents.h"

namespace brenic::master {

/// What a Result's frames say.
struct Told {
  wire::Answer m_Answer;
  std::optional<SetMasterOptionsMsg> m_Reply;
  UID m_ReplyTo;
};

inline Told Read(const RequestResult& result) {
  Told told;
  wire::FrameReader reader;
  reader.SetLimit(wire::k_MaxFrame);
  reader.Feed(*result.m_Frames);
  while (auto frame = reader.Next()) {
    EXPECT_FALSE(told.m_Answer.outcome()) << "a reply comes before its Answer";
    if (frame->has_answer())
      told.m_Answer = frame->answer();
    else {
      told.m_ReplyTo = wire::Identifier(frame->message().reply_to());
      told.m_Reply = static_cast<const SetMasterOptionsMsg&>(*wire::FromWire(*frame->mutable_message()));
    }
  }
  return told;
}

class WriterTest : public testing::Test {
protected:
  WriterTest() {
    SqliteStore::Create(SqliteStore::File(m_Folder.Name()), MasterRecord(),
                        {"01", "admin", Role::k_Administrator});
    Restart("first run");
  }

  void Restart(const std::string& run) {
    m_Writer.reset();
    auto store = std::make_unique<SqliteStore>(m_Folder.Name(), Database::Mode::k_ReadWrite);
    SetDefaults(*store, SampleFarm().m_Products.Defaults());
    m_Store = store.get();
    m_Writer =
        std::make_unique<Writer>(std::move(store), WriterOptions{.m_Run = run,
                                                                 .m_Deliver =
                                                                     [this](Batch batch) {
                                                                       std::lock_guard lock(m_Mutex);
                                                                       m_Batches.push_back(std::move(batch));
                                                                       m_Arrived.notify_all();
                                                                     },
                                                                 .m_Commands = {"reboot", ""},
                                                                 .m_Products = m_Products,
                                                                 .m_Manage = m_Manage});
  }

  void Submit(const shared_ptr<Message>& message, const std::string& basis = {},
              const std::string& key = "01", Role role = Role::k_Administrator) {
    wire::Envelope envelope;
    wire::ToWire(*message, envelope);
    envelope.set_basis(basis);
    auto peer = std::make_shared<Peer>();
    peer->m_Key = key;
    peer->m_Name = "somebody";
    peer->m_Role = role;
    peer->m_Manages = m_Manage != nullptr;
    ++m_Submitted;
    const std::string bytes = envelope.SerializeAsString();
    m_Writer->Submit(MakeRequest(1, peer, envelope, bytes));
  }

  /// Waits until everything that was submitted has been decided; the results in their order.
  std::vector<RequestResult> Finish() {
    std::unique_lock lock(m_Mutex);
    std::vector<RequestResult> results;
    m_Arrived.wait(lock, [&] {
      results.clear();
      for (const Batch& batch : m_Batches)
        results.insert(results.end(), batch.m_Results.begin(), batch.m_Results.end());
      return results.size() == m_Submitted;
    });
    return results;
  }
  Told Ask(const shared_ptr<Message>& message, const std::string& basis = {}, const std::string& key = "01",
           Role role = Role::k_Administrator) {
    Submit(message, basis, key, role);
    return Read(Finish().back());
  }

  static shared_ptr<SetMasterOptionsMsg> Set(const String& name, const String& value) {
    return Make<SetMasterOptionsMsg>([&](auto& message) {
      message.m_Section = o_Distribution;
      message.m_Options[name] = value;
    });
  }
  static shared_ptr<GetMasterOptionsMsg> Get(const String& name) {
    return Make<GetMasterOptionsMsg>([&](auto& message) { message.m_OptionNames = {name}; });
  }

  const TempFolder m_Folder;
  // From the next Restart on.
  Path m_Products; // folder of the default products
  WriterOptions::Manage m_Manage;
  std::mutex m_Mutex;
  std::condition_variable m_Arrived;
  std::vector<Batch> m_Batches;
  size_t m_Submitted = 0;
  SqliteStore* m_Store = nullptr;
  std::unique_ptr<Writer> m_Writer;
};

} // namespace brenic::master
