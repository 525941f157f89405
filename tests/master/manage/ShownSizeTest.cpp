#include "farm/ShownSize.h"

#include <gmock/gmock.h>

#include "brenic/SystemMessages.h"
#include "manage/AuditFields.h"
#include "master/farm/RandomRequests.h"

namespace brenic::master {
namespace {

/// Whether the JSON shows a field by its digest and size.
bool ShowsDigest(const Json& fields) {
  return std::any_of(fields.begin(), fields.end(), [](const Json& field) {
    return field.is_object() && field.size() == 2 && field.contains("digest") && field.contains("size") &&
           field["size"].is_number();
  });
}

/// `size` bytes of JSON text, without the quotes, of as many pieces as fit and "x".
std::string Filler(size_t size, const std::string& piece) {
  const size_t shown = ToText(Json(piece)).size() - 2;
  std::string text;
  for (; size >= shown; size -= shown)
    text += piece;
  return text + std::string(size, 'x');
}

using Text = std::function<String(size_t)>; // a text that is so long as JSON, without the quotes
using MakeMessage = std::function<shared_ptr<Message>(const Text& text, size_t size)>;

struct Case {
  const char* m_Name;
  const char* m_Field;
  MakeMessage m_Make; // with a text of that size somewhere in it
};

shared_ptr<Message> Translations(const TranslationSet& first, const String& root) {
  return SetTranslations({first, {}, {{-3, root}, {0, ""}, {12, "X:"}}});
}

const Case k_Cases[] = {
    {"the section", "m_Section",
     [](const Text& text, size_t size) { return OptionMessage("a", "1", text(size)); }},
    {"the name of an option", "m_Options",
     [](const Text& text, size_t size) { return OptionMessage(text(size), "1"); }},
    {"the value of an option", "m_Options",
     [](const Text& text, size_t size) { return OptionMessage("\"a\\", text(size)); }},
    {"many options", "m_Options",
     [](const Text& text, size_t size) {
       return Make<SetMasterOptionsMsg>([&](auto& message) {
         message.m_Options = {{"", ""}, {"b", text(size - size / 2)}, {"k" + text(size / 2), "\\"}};
       });
     }},
    {"names asked for", "m_OptionNames",
     [](const Text& text, size_t size) {
       return Make<GetMasterOptionsMsg>([&](auto& message) {
         message.m_OptionNames = {"", text(size / 2), "", text(size - size / 2), "\""};
       });
     }},
    {"restrictions", "m_Restrictions",
     [](const Text& text, size_t size) {
       return Make<SetMasterRestrictionsMsg>([&](auto& message) {
         message.m_Restrictions = {
             {"", true}, {"k" + text(size / 2), false}, {"a" + text(size - size / 2), true}};
       });
     }},
    {"a root", "m_Translations",
     [](const Text& text, size_t size) {
       return Translations({{1, "/x"}}, text(size));
     }},
    {"a root behind an empty set", "m_Translations",
     [](const Text& text, size_t size) { return Translations({}, text(size)); }},
    {"many roots", "m_Translations",
     [](const Text& text, size_t size) {
       return Translations({{0, text(size / 2)}, {1, "/x"}}, text(size - size / 2));
     }},
};

/// The field has no more and no less than `size` bytes.
shared_ptr<Message> MessageOf(const Case& one, const Text& text, size_t size) {
  const size_t empty = ToText(AuditFields(*one.m_Make(text, 0)).at(one.m_Field)).size();
  return one.m_Make(text, size - empty);
}

TEST(ShownSize, AgreesWithTheJsonAtTheBorderInEveryClass) {
  for (const Case& one : k_Cases) {
    for (const char* piece :
         {"x", "\"", "\\", "\n", "\b", "\x01", "\x1f", "\x7f", "é", "夜", "\xf0\x9f\x8e\xac", "a\"夜\t"}) {
      const Text text = [&](size_t size) { return String(Filler(size, piece)); };
      const std::string where = std::string(one.m_Name) + " of " + ToText(Json(piece));
      const auto fits = MessageOf(one, text, k_MaxAuditField);
      const Json shown = AuditFields(*fits);
      EXPECT_EQ(ToText(shown.at(one.m_Field)).size(), 65536u) << where;
      EXPECT_FALSE(ShowsDigest(shown)) << where;
      EXPECT_FALSE(HasLongField(*fits)) << where;
      const auto exceeds = MessageOf(one, text, k_MaxAuditField + 1);
      EXPECT_EQ(AuditFields(*exceeds).at(one.m_Field).at("size"), 65537) << where;
      EXPECT_TRUE(HasLongField(*exceeds)) << where;
    }
  }
}

TEST(ShownSize, AgreesWithTheJsonOfNumbers) {
  const auto limits = [](size_t size) {
    return Make<SetMasterLimitsMsg>([&](auto& message) {
      // An entry with a limit of one digit takes 41 bytes with its comma, and the braces add one.
      size_t more = (size - 1) % 41;
      for (size_t i = 0; i != (size - 1) / 41; ++i) {
        UID::Raw type{};
        type[0] = static_cast<uint8_t>(i >> 8);
        type[1] = static_cast<uint8_t>(i);
        const size_t digits = std::min<size_t>(more, 9);
        more -= digits;
        message.m_Limits[UID(type)] = i % 2 == 1 && digits > 0
                                          ? -std::stoi("1" + std::string(digits - 1, '0'))
                                          : std::stoi("1" + std::string(digits, '0'));
      }
    });
  };
  for (size_t size = k_MaxAuditField - 50; size != k_MaxAuditField + 1; ++size) {
    const auto message = limits(size);
    ASSERT_EQ(ToText(AuditFields(*message).at("m_Limits")).size(), size);
    EXPECT_FALSE(HasLongField(*message)) << size;
  }
  for (size_t size = k_MaxAuditField + 1; size != k_MaxAuditField + 50; ++size) {
    EXPECT_TRUE(ShowsDigest(AuditFields(*limits(size)))) << size;
    EXPECT_TRUE(HasLongField(*limits(size))) << size;
  }
}

TEST(ShownSize, IsNeverLongWhereThereIsNothing) {
  for (const shared_ptr<Message>& message : std::vector<shared_ptr<Message>>{
           MessageFactory::Create<SetMasterOptionsMsg>(), MessageFactory::Create<GetMasterOptionsMsg>(),
           MessageFactory::Create<SetMasterLimitsMsg>(), MessageFactory::Create<SetMasterRestrictionsMsg>(),
           MessageFactory::Create<PathTranslationsMsg>(), MessageFactory::Create<ProductMsg>(),
           MessageFactory::Create<RemoveProductMsg>(), MessageFactory::Create<LogDumpMsg>(),
           MessageFactory::Create<ShutdownMsg>(), MessageFactory::Create<MachineMsg>()}) {
    EXPECT_FALSE(HasLongField(*message)) << message->ClassName();
    EXPECT_FALSE(ShowsDigest(AuditFields(*message))) << message->ClassName();
  }
}

TEST(ShownSize, OfAProductDoesNotDependOnItsDocument) {
  const auto message = InstallProduct(boost::make_shared<const Product>(
      Type(1), "Alpha", rlib::vector<String>(), std::string(2 * k_MaxAuditField, ' ')));
  EXPECT_FALSE(HasLongField(*message));
  EXPECT_FALSE(ShowsDigest(AuditFields(*message)));
}

TEST(ShownSize, AgreesWithTheJsonOfTextThatIsNotUtf8) {
  // Each such byte is shown as U+FFFD, in three bytes.
  for (const char* piece : {"\xff", "\x80", "\xc3(", "\xe5\xa4", "\xf0\x9f\x8e"}) {
    const auto message = OptionMessage("a", String(Filler(2 * k_MaxAuditField / 3, piece)));
    const auto longer = OptionMessage("a", String(Filler(2 * k_MaxAuditField, piece)));
    for (const auto& each : {message, longer})
      EXPECT_EQ(HasLongField(*each), ShowsDigest(AuditFields(*each))) << ToText(Json(piece));
  }
  const std::string bytes(30'000, '\xff');
  EXPECT_TRUE(ShowsDigest(AuditFields(*OptionMessage("a", bytes))));
  EXPECT_TRUE(HasLongField(*OptionMessage("a", bytes)));
}

TEST(ShownSize, AgreesWithTheJsonOfAProductWithALongName) {
  const auto message = InstallProduct(
      boost::make_shared<const Product>(Type(1), std::string(40'000, '"'), rlib::vector<String>(), "{}"));
  EXPECT_TRUE(ShowsDigest(AuditFields(*message)));
  EXPECT_TRUE(HasLongField(*message));
}

TEST(ShownSize, AgreesWithTheJsonOfRequestsAroundTheBorder) {
  RandomRequests random(11);
  const Farm farm = SampleFarm();
  size_t longOnes = 0;
  for (int i = 0; i != 300; ++i) {
    const auto message = Make<PathTranslationsMsg>([&](auto& list) {
      // Some sets are empty, and the number of entries wanders around 64 KiB of JSON.
      for (size_t entries = 1540 + random.Below(120); entries != 0; --entries) {
        TranslationSet set;
        for (int platform = 0; platform != 3; ++platform) {
          if (random.Below(3) != 0)
            set[platform] = String(Filler(random.Below(25), random.Below(2) == 0 ? "\\" : "夜"));
        }
        list.m_Translations.push_back(set);
      }
    });
    const bool isLong = ToText(AuditFields(*message)).find("\"digest\"") != std::string::npos;
    ASSERT_EQ(HasLongField(*message), isLong) << i;
    longOnes += isLong;
  }
  EXPECT_GT(longOnes, 30u);
  EXPECT_LT(longOnes, 270u);
}

} // namespace
} // namespace brenic::master
