// Every pattern of what is pending and what is delivered, against a model that is put together differently:
// from the list of what must be awaited, it reads off the result and what is left.
#include <algorithm>
#include <sstream>

#include "scripted/SetwrightTest.h"

using namespace brenic;
using namespace scripted;

namespace {

enum Delivery { k_Absent, k_Delivered, k_Undelivered };
constexpr Delivery k_All[] = {k_Absent, k_Delivered, k_Undelivered};

struct Pattern {
  Delivery m_Options = k_Absent;
  std::vector<Delivery> m_TypeOptions; // by type; never absent
  Delivery m_Single[5]{};              // limits, restrictions, path translations, log dump, user limits

  std::string Text() const {
    std::ostringstream text;
    text << "options " << m_Options << ", type options";
    for (const Delivery delivery : m_TypeOptions)
      text << ' ' << delivery;
    text << ", single";
    for (const Delivery delivery : m_Single)
      text << ' ' << delivery;
    return text.str() + " (0 absent, 1 delivered, 2 not)";
  }
};

class WaitPatternsTest : public SetwrightTest {
protected:
  template <typename Pointer>
  void Put(Pointer& member, Delivery delivery) {
    using Class = typename Pointer::element_type;
    member = delivery == k_Absent ? Pointer() : Fresh<Class>(delivery);
  }
  template <typename Class>
  boost::shared_ptr<Class> Fresh(Delivery delivery) {
    const auto message = MessageFactory::Create<Class>();
    m_Script.m_Undelivered[message->m_ID] = delivery == k_Undelivered ? Script::k_Always : 0;
    return message;
  }

  void Fill(const Pattern& pattern) {
    m_Script.m_Waits.clear();
    m_Script.m_Undelivered.clear();
    Put(m_Access.m_OptionsMsg, pattern.m_Options);
    m_Access.m_TypeOptionsMsgs.clear();
    for (size_t i = 0; i < pattern.m_TypeOptions.size(); ++i)
      Put(m_Access.m_TypeOptionsMsgs[Type(static_cast<uint8_t>(i + 1))], pattern.m_TypeOptions[i]);
    Put(m_Access.m_LimitsMsg, pattern.m_Single[0]);
    Put(m_Access.m_RestrictionsMsg, pattern.m_Single[1]);
    Put(m_Access.m_PathTranslationsMsg, pattern.m_Single[2]);
    Put(m_Access.m_LogDumpMsg, pattern.m_Single[3]);
    Put(m_Access.m_UserLimitsMsg, pattern.m_Single[4]);
  }

  /// The five single requests behind the type options.
  std::vector<boost::shared_ptr<Message>> Singles() const {
    return {m_Access.m_LimitsMsg, m_Access.m_RestrictionsMsg, m_Access.m_PathTranslationsMsg,
            m_Access.m_LogDumpMsg, m_Access.m_UserLimitsMsg};
  }

  /// Runs the wait on the pattern; the text of what differs from the model, empty when nothing does.
  std::string Check(const Pattern& pattern) {
    Fill(pattern);
    std::vector<Wait> waits;
    if (m_Access.m_OptionsMsg)
      waits.push_back({m_Access.m_OptionsMsg->m_ID, 0.25f});
    const auto failed = std::find(pattern.m_TypeOptions.begin(), pattern.m_TypeOptions.end(), k_Undelivered);
    const bool typesDelivered = failed == pattern.m_TypeOptions.end();
    for (const auto& [type, message] : m_Access.m_TypeOptionsMsgs) {
      waits.push_back({message->m_ID, 0.25f});
      if (m_Script.m_Undelivered.at(message->m_ID) != 0)
        break;
    }
    for (const auto& message : Singles()) {
      if (message)
        waits.push_back({message->m_ID, 0.25f});
    }

    // The last outcome in the order of the list decides; nothing at all counts as delivered.
    bool result = true;
    if (pattern.m_Options != k_Absent)
      result = pattern.m_Options == k_Delivered;
    if (!pattern.m_TypeOptions.empty())
      result = typesDelivered;
    for (const Delivery delivery : pattern.m_Single) {
      if (delivery != k_Absent)
        result = delivery == k_Delivered;
    }

    if (m_Access.WaitForMessages() != result)
      return "result is not " + std::to_string(result);
    if (m_Script.m_Waits != waits)
      return "calls differ";
    if (!!m_Access.m_OptionsMsg != (pattern.m_Options == k_Undelivered))
      return "options";
    if (m_Access.m_TypeOptionsMsgs.size() != (typesDelivered ? 0 : pattern.m_TypeOptions.size()))
      return "type options";
    const auto left = Singles();
    for (size_t i = 0; i < left.size(); ++i) {
      if (!!left[i] != (pattern.m_Single[i] == k_Undelivered))
        return "single request " + std::to_string(i);
    }
    return {};
  }
};

TEST_F(WaitPatternsTest, ResultCallsAndWhatStaysPendingAreRightForEveryPattern) {
  const std::vector<Delivery> typeOptions[] = {{},
                                               {k_Delivered},
                                               {k_Undelivered},
                                               {k_Delivered, k_Delivered},
                                               {k_Delivered, k_Undelivered},
                                               {k_Undelivered, k_Delivered},
                                               {k_Undelivered, k_Undelivered}};
  int checked = 0;
  for (const Delivery options : k_All) {
    for (const auto& types : typeOptions) {
      for (int code = 0; code < 3 * 3 * 3 * 3 * 3; ++code) {
        Pattern pattern{options, types, {}};
        int rest = code;
        for (Delivery& delivery : pattern.m_Single) {
          delivery = k_All[rest % 3];
          rest /= 3;
        }
        ASSERT_EQ(Check(pattern), "") << pattern.Text();
        ++checked;
      }
    }
  }
  EXPECT_EQ(checked, 3 * 7 * 243);
}

} // namespace
