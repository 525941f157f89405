#include "FakeMaster.h"

#include <algorithm>

namespace brenic {

void Link::SendBytes(std::string_view bytes) {
  if (m_Closed || m_ClientClosed)
    return;
  const size_t taken = std::min(bytes.size(), m_OutputLeft);
  m_Output.append(bytes.substr(0, taken));
  if (m_OutputLeft != std::string::npos)
    m_OutputLeft -= taken;
  m_Closed = m_OutputLeft == 0;
  Deliver();
}

void Link::Close() {
  m_Closed = true;
  Deliver();
}

void Link::Deliver() {
  if (!m_Reading || (m_Output.empty() && !m_Closed))
    return;
  const size_t size = std::min(m_Output.size(), m_Into.size());
  std::copy_n(m_Output.data(), size, static_cast<char*>(m_Into.data()));
  m_Output.erase(0, size);
  error_code end = m_Master.PlanOf(m_Number).m_Break;
  if (!end)
    end = asio::error::eof;
  asio::post(m_Io, [done = std::exchange(m_Reading, {}), error = size > 0 ? error_code() : end, size] {
    done(error, size);
  });
}

void Link::Take(std::string_view bytes) {
  if (m_Closed)
    return;
  const size_t taken = std::min(bytes.size(), m_InputLeft);
  if (m_InputLeft != std::string::npos)
    m_InputLeft -= taken;
  m_Reader.Feed(bytes.substr(0, taken));
  while (auto frame = m_Reader.Next())
    m_Master.OnFrame(*this, *frame);
  if (m_InputLeft == 0)
    Close();
}

class FakeStream : public ByteStream {
public:
  explicit FakeStream(std::shared_ptr<Link> link) : m_Link(std::move(link)) {}
  ~FakeStream() override { FakeStream::Close(); }

  void ReadSome(asio::mutable_buffer into, Done done) override {
    m_Link->m_Into = into;
    m_Link->m_Reading = std::move(done);
    m_Link->Deliver();
  }
  void Write(asio::const_buffer bytes, Done done) override {
    m_Link->Take({static_cast<const char*>(bytes.data()), bytes.size()});
    asio::post(m_Link->m_Io, [done = std::move(done), size = bytes.size()] { done({}, size); });
  }
  void Close() override {
    if (std::exchange(m_Link->m_ClientClosed, true))
      return;
    {
      std::lock_guard lock(m_Link->m_Master.m_Mutex);
      ++m_Link->m_Master.m_Closed;
    }
    m_Link->m_Master.m_Changed.notify_all();
    if (m_Link->m_Reading)
      asio::post(m_Link->m_Io,
                 [done = std::exchange(m_Link->m_Reading, {})] { done(asio::error::operation_aborted, 0); });
  }

private:
  const std::shared_ptr<Link> m_Link;
};

class FakeConnector : public Connector {
public:
  FakeConnector(asio::io_context& io, FakeMaster& master) : m_Io(io), m_Master(master) {}

  String Address() const override { return "fake:1"; }

  void Connect(Done done) override {
    int number = 0;
    {
      std::lock_guard lock(m_Master.m_Mutex);
      number = ++m_Master.m_Connections;
    }
    m_Master.m_Changed.notify_all();
    const Plan& plan = m_Master.PlanOf(number);
    m_Done = std::move(done);
    if (plan.m_Refuse)
      return Finish(*plan.m_Refuse);
    const auto link = m_Master.m_Newest = std::make_shared<Link>(m_Io, m_Master, number);
    link->m_OutputLeft = plan.m_CutOutput;
    link->m_InputLeft = plan.m_CutInput;
    link->m_Closed = plan.m_CutInput == 0 || plan.m_CutOutput == 0;
    link->m_Reader.SetLimit(wire::k_MaxFrame);
    Finish(std::make_unique<FakeStream>(link));
  }
  void Cancel() override { m_Done = {}; }
  ConnectFailure Classify(const error_code& error) const override { return {Explain(error), false}; }

private:
  void Finish(ConnectResult result) {
    asio::post(m_Io, [this, result = std::move(result)]() mutable {
      if (const Done done = std::exchange(m_Done, {}))
        done(std::move(result));
    });
  }

  asio::io_context& m_Io;
  FakeMaster& m_Master;
  Done m_Done;
};

std::unique_ptr<Connector> FakeMaster::MakeConnector(asio::io_context& io) {
  m_Io = &io;
  return std::make_unique<FakeConnector>(io, *this);
}

const Plan& FakeMaster::PlanOf(int number) const {
  return m_Plans[std::min(static_cast<size_t>(number), m_Plans.size()) - 1];
}

void FakeMaster::OnFrame(Link& link, const wire::Frame& frame) {
  {
    std::lock_guard lock(m_Mutex);
    m_Frames.push_back({link.m_Number, frame});
  }
  m_Changed.notify_all();
  if (frame.has_goodbye())
    return link.Close();
  const Plan& plan = PlanOf(link.m_Number);
  if (frame.has_message()) {
    if (plan.m_GoodbyeLater)
      return Goodbye(link, *plan.m_GoodbyeLater);
    return m_OnRequest(link, frame.message());
  }
  if (!frame.has_hello() || plan.m_Silent)
    return;
  if (!plan.m_Garbage.empty())
    return link.SendBytes(plan.m_Garbage);
  if (plan.m_Goodbye)
    return Goodbye(link, *plan.m_Goodbye);
  wire::Frame answer;
  wire::Welcome& welcome = *answer.mutable_welcome();
  welcome.set_protocol_version(plan.m_Version);
  if (plan.m_Versions) {
    welcome.set_lowest_version(plan.m_Versions->m_Lowest);
    welcome.set_highest_version(plan.m_Versions->m_Highest);
  }
  welcome.set_id(wire::IdentifierBytes(plan.m_MasterId.value_or(m_Id)));
  welcome.set_name("the fake");
  welcome.set_version(0x01020003);
  welcome.set_released(1000);
  welcome.set_started(2000);
  welcome.set_default_idle_timeout(7);
  welcome.set_message("hello there");
  link.Send(answer);
  if (m_Translations) {
    wire::Frame list;
    list.mutable_message()->set_id(wire::IdentifierBytes(UID(true)));
    *list.mutable_message()->mutable_path_translations() = *m_Translations;
    link.Send(list);
  }
  if (!plan.m_HoldProducts)
    SendProducts(link);
  if (!plan.m_GarbageLater.empty())
    link.SendBytes(plan.m_GarbageLater);
}

void FakeMaster::SendProducts(Link& link) {
  if (PlanOf(link.m_Number).m_Unchanged) {
    wire::Frame same;
    same.mutable_products()->set_unchanged(true);
    link.Send(same);
  } else {
    for (const std::string& name : m_ProductNames) { // one a frame: the list comes in parts
      wire::Frame part;
      wire::ToWire(brenic::Product(UID(true), name, {}, "{}"), *part.mutable_products()->add_products());
      link.Send(part);
    }
  }
  wire::Frame end;
  end.mutable_message()->set_id(wire::IdentifierBytes(UID(true)));
  end.mutable_message()->mutable_end_products()->set_digest(m_Digest);
  link.Send(end);
}

void FakeMaster::Goodbye(Link& link, wire::Goodbye::Reason reason) {
  wire::Frame frame;
  frame.mutable_goodbye()->set_reason(reason);
  frame.mutable_goodbye()->set_text("because of the test");
  link.Send(frame);
  link.Close();
}

void FakeMaster::Serve(Link& link, const wire::Envelope& request) {
  Apply(request);
  if (request.has_get_master_options())
    Reply(link, request);
  Answer(link, request.id());
}

void FakeMaster::Apply(const wire::Envelope& request) {
  std::lock_guard lock(m_Mutex);
  // Reads are not remembered; of the rest each identifier is applied once.
  if (request.has_get_master_options() || !m_Applied.contains(request.id()))
    ++m_Applied[request.id()];
}

void FakeMaster::Reply(Link& link, const wire::Envelope& request, const std::string& value) {
  wire::Frame frame;
  wire::Envelope& reply = *frame.mutable_message();
  reply.set_id(wire::IdentifierBytes(UID(true)));
  reply.set_reply_to(request.id());
  reply.mutable_set_master_options()->set_section("Distribution");
  for (const std::string& name : request.get_master_options().option_names()) {
    wire::Option& option = *reply.mutable_set_master_options()->add_options();
    option.set_name(name);
    option.set_value(value);
  }
  link.Send(frame);
}

void FakeMaster::Answer(Link& link, const std::string& id, wire::Answer::Outcome outcome,
                        const std::string& reason) {
  wire::Frame frame;
  frame.mutable_answer()->set_id(id);
  frame.mutable_answer()->set_outcome(outcome);
  frame.mutable_answer()->set_reason(reason);
  link.Send(frame);
}

void FakeMaster::Push(Link& link, const Message& message) {
  wire::Frame frame;
  wire::ToWire(message, *frame.mutable_message());
  link.Send(frame);
}

void FakeMaster::Post(std::function<void(Link& link)> task) {
  asio::post(*m_Io, [this, task = std::move(task)] { task(*m_Newest); });
}

int FakeMaster::Connections() {
  std::lock_guard lock(m_Mutex);
  return m_Connections;
}

int FakeMaster::Closed() {
  std::lock_guard lock(m_Mutex);
  return m_Closed;
}

std::vector<wire::Frame> FakeMaster::Frames() {
  std::lock_guard lock(m_Mutex);
  std::vector<wire::Frame> frames;
  for (const Seen& seen : m_Frames)
    frames.push_back(seen.m_Frame);
  return frames;
}

std::vector<std::string> FakeMaster::Requests(int number) {
  std::lock_guard lock(m_Mutex);
  std::vector<std::string> requests;
  for (const Seen& seen : m_Frames) {
    if (seen.m_Connection == number && seen.m_Frame.has_message())
      requests.push_back(wire::Encode(seen.m_Frame));
  }
  return requests;
}

std::map<std::string, int> FakeMaster::Applied() {
  std::lock_guard lock(m_Mutex);
  return m_Applied;
}

bool FakeMaster::WaitForFrames(size_t count) {
  std::unique_lock lock(m_Mutex);
  return m_Changed.wait_for(lock, std::chrono::seconds(30), [&] { return m_Frames.size() >= count; });
}

} // namespace brenic
