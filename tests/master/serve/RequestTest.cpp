#include "serve/Request.h"

#include <gtest/gtest.h>

#include "farm/Samples.h"
#include "wire/Contents.h"

namespace brenic::master {
namespace {

constexpr size_t k_VeryShort = 4 * 1024;
constexpr size_t k_Small = 64 * 1024;

Request RequestOf(const Message& message) {
  wire::Envelope envelope;
  wire::ToWire(message, envelope);
  auto peer = std::make_shared<Peer>();
  peer->m_Role = Role::k_Administrator;
  return MakeRequest(1, peer, envelope, envelope.SerializeAsString());
}

/// Whether the trail keeps all of the message's bytes when the farm takes it.
bool IsKept(const Farm& farm, const Message& message) {
  const Request request = RequestOf(message);
  return KeptBytes(request, ChangeOf(farm, message)) == request.m_Bytes;
}

String Long(size_t size) {
  return String(std::string(size, 'x'));
}

shared_ptr<PathTranslationsMsg> Translations(size_t bytes) {
  return Make<PathTranslationsMsg>([&](auto& message) {
    for (size_t i = 0; i < bytes; i += 1000)
      message.m_Translations.push_back({{0, Path(Long(1000))}, {1, Path(String(std::to_string(i)))}});
  });
}

shared_ptr<ProductMsg> LongProduct(size_t bytes) {
  return Make<ProductMsg>([&](auto& message) {
    message.m_Product =
        boost::make_shared<Product>(Type(3), "Own", rlib::vector<String>(),
                                    fmt::format(R"({{"id":"{}","name":"Own","description":"{}"}})",
                                                Type(3).ToString().str(), Long(bytes).str()));
  });
}

TEST(KeptRequests, AreThoseThatAreSmall) {
  const Farm farm = SampleFarm();
  EXPECT_TRUE(IsKept(farm, *OptionMessage("a", "1")));
  EXPECT_TRUE(IsKept(farm, *OptionMessage("a", Long(k_Small - 100))));
  EXPECT_FALSE(IsKept(farm, *Make<SetMasterOptionsMsg>([](auto& message) {
                        message.m_Section = o_Distribution;
                        message.m_Options = {{"a", Long(k_Small / 2)}, {"b", Long(k_Small / 2)}};
                      })));
}

TEST(KeptRequests, AreVeryShortWhereTheChangeTellsThemAll) {
  const Farm farm = SampleFarm();
  EXPECT_TRUE(IsKept(farm, *OptionMessage(o_UserLimits, Long(k_VeryShort / 2))));
  EXPECT_FALSE(IsKept(farm, *OptionMessage(o_UserLimits, Long(k_VeryShort))));
  EXPECT_TRUE(IsKept(farm, *Translations(k_VeryShort / 2)));
  EXPECT_FALSE(IsKept(farm, *Translations(k_VeryShort)));
  EXPECT_TRUE(IsKept(farm, *LongProduct(k_VeryShort / 2)));
  EXPECT_FALSE(IsKept(farm, *LongProduct(k_VeryShort)));
}

TEST(KeptRequests, AreSmallOnesThatChangeNothing) {
  Farm farm = SampleFarm();
  for (const shared_ptr<Message>& message :
       {shared_ptr<Message>(OptionMessage(o_UserLimits, Long(2 * k_VeryShort))),
        shared_ptr<Message>(Translations(2 * k_VeryShort)),
        shared_ptr<Message>(LongProduct(2 * k_VeryShort))}) {
    EXPECT_FALSE(IsKept(farm, *message)) << message->ClassName();
    farm.Take(ChangeOf(farm, *message));
    EXPECT_TRUE(IsKept(farm, *message)) << message->ClassName();
  }
}

TEST(KeptRequests, AreSmallOnesOfWhichUserLimitsAreAPart) {
  EXPECT_TRUE(IsKept(SampleFarm(), *Make<SetMasterOptionsMsg>([](auto& message) {
                       message.m_Section = o_Distribution;
                       message.m_Options = {{o_UserLimits, "ann=1;"}, {"a", Long(2 * k_VeryShort)}};
                     })));
}

/// Sizes of the options that are kept of these where they are refused, with their section in front.
std::map<std::string, size_t> KeptOptions(const OptionMap& options) {
  const auto kept = KeptBytes(RequestOf(*Make<SetMasterOptionsMsg>([&](auto& message) {
                                message.m_Section = o_Distribution;
                                message.m_Options = options;
                              })),
                              Change());
  wire::Envelope envelope;
  if (!kept || !envelope.ParseFromString(*kept))
    return {};
  const auto message = wire::FromWire(envelope);
  const auto& set = static_cast<const SetMasterOptionsMsg&>(*message);
  std::map<std::string, size_t> sizes{{"in " + set.m_Section.str(), 0}};
  for (const auto& [name, value] : set.m_Options)
    sizes[name.str()] = value.size();
  return sizes;
}

TEST(KeptRequests, AreTheSmallOptionsOfALargeRequest) {
  using Sizes = std::map<std::string, size_t>;
  EXPECT_EQ(KeptOptions({{"a", Long(2 * k_Small)}, {"b", "1"}, {"c", Long(1000)}}),
            (Sizes{{"in Distribution", 0}, {"b", 1}, {"c", 1000}}));
  OptionMap many;
  for (int i = 0; i < 100; ++i)
    many[String(std::to_string(i))] = Long(1000);
  EXPECT_EQ(KeptOptions(many), (Sizes{{"in Distribution", 0}}));
}

} // namespace
} // namespace brenic::master
