#include "manage/OptionsFilePlan.h"

#include <algorithm>
#include <cstdlib>

#include "brenic/JobFactory.h"
#include "brenic/MessageFactory.h"
#include "brenic/Options.h"
#include "brenic/SettingsMessages.h"
#include "farm/Judgement.h"
#include "rlib/IniFile.h"
#include "wire/Contents.h"
#include "wire/Frames.h"

namespace brenic::master {

namespace {

using What = PlannedLine::What;
using Skipped = PlannedLine::Skipped;

/// As the tool reads a limit: the leading decimal number, cut to 32 bits; 0 when there is none.
int LeadingNumber(const String& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

/// Those that the tool is sent.
JobFactory ProductsOf(const Farm& farm) {
  JobFactory::ProductList products;
  for (const auto& entry : farm.m_Products.Effective())
    products.push_back(boost::const_pointer_cast<Product>(entry.second));
  JobFactory factory;
  factory.Replace(products);
  return factory;
}

class Planner {
public:
  explicit Planner(const Farm& farm) : m_Products(ProductsOf(farm)) { m_Plan.m_After = farm; }

  rlib::Result<OptionsFilePlan> Plan(const Path& name) {
    rlib::IniFile file(false);
    file.SetFileName(name.str());
    file.OnSkipped([this](size_t line, const char* why) {
      PlannedLine& malformed = Add(line, What::k_Malformed, {});
      malformed.m_Skipped = Skipped::k_Malformed;
      malformed.m_Why = why;
    });
    if (file.Load(true, false))
      while (file.SetNextSection())
        ReadSection(file);
    if (!file.Problem().empty())
      return rlib::Failure("Cannot read options file '" + name.str() + "': " + file.Problem());
    SendAll();
    // The malformed ones came first.
    std::stable_sort(m_Plan.m_Lines.begin(), m_Plan.m_Lines.end(),
                     [](const PlannedLine& a, const PlannedLine& b) { return a.m_Line < b.m_Line; });
    return std::move(m_Plan);
  }

private:
  using Index = size_t; // of a line of the plan

  PlannedLine& Add(size_t line, What what, const String& name) {
    PlannedLine& added = m_Plan.m_Lines.emplace_back();
    added.m_Line = line;
    added.m_What = what;
    added.m_Name = name;
    return added;
  }

  void ReadSection(rlib::IniFile& file) {
    const String& section = file.GetCurrentSection();
    const auto isCalled = [&](const char* name) { return section.CompareNoCase(name) == 0; };
    UID type(false);
    if (isCalled(o_Distribution))
      ReadPairs(file, What::k_Option, type);
    else if (isCalled(o_Restrictions))
      ReadPairs(file, What::k_Restriction, type);
    else if (isCalled(o_Limit))
      ReadPairs(file, What::k_Limit, type);
    else if (!m_Products.FindType(section, type))
      SkipSection(file, Skipped::k_UnknownSection);
    else if (!m_Products.GetProduct(type))
      SkipSection(file, Skipped::k_NullSection);
    else
      ReadPairs(file, What::k_TypeOption, type);
  }

  void SkipSection(rlib::IniFile& file, Skipped why) {
    PlannedLine& section = Add(file.LineNumber(), What::k_Section, file.GetCurrentSection());
    section.m_Skipped = why;
    for (String name, value; file.GetNextValue(name, value);)
      ++section.m_Pairs;
  }

  void ReadPairs(rlib::IniFile& file, What what, const UID& type) {
    for (String name, value; file.GetNextValue(name, value);) {
      PlannedLine& line = Add(file.LineNumber(), what, name);
      line.m_Type = type;
      line.m_Value = value;
      Keep(m_Plan.m_Lines.size() - 1);
    }
  }

  /// Puts a pair into its request.
  void Keep(Index index) {
    PlannedLine& line = m_Plan.m_Lines[index];
    if (line.m_What == What::k_Option)
      Put(m_Options, line.m_Name, index, Skipped::k_Overwritten);
    else if (line.m_What == What::k_Restriction)
      Put(m_Restrictions, line.m_Name, index, Skipped::k_Overwritten);
    else if (line.m_What == What::k_TypeOption)
      KeepTypeOption(line, index);
    else if (m_Products.FindType(line.m_Name, line.m_Type))
      Put(m_Limits, line.m_Type, index, Skipped::k_Overwritten);
    else
      line.m_Skipped = Skipped::k_UnknownProduct;
  }

  void KeepTypeOption(PlannedLine& line, Index index) {
    if (m_Products.GetProduct(line.m_Type)->IsDefaultParam(line.m_Name, line.m_Value)) {
      line.m_Skipped = Skipped::k_Default;
      return;
    }
    const auto earlier = m_TypeOptions.find(line.m_Type);
    const bool isSame = earlier != m_TypeOptions.end() &&
                        m_Plan.m_Lines[earlier->second].m_Name.CompareNoCase(line.m_Name) == 0;
    Put(m_TypeOptions, line.m_Type, index, isSame ? Skipped::k_Overwritten : Skipped::k_Lost);
  }

  /// Takes the place of an earlier pair with the same key.
  template <typename Map, typename Key>
  void Put(Map& map, const Key& key, Index index, Skipped earlierIs) {
    const auto [at, isNew] = map.emplace(key, index);
    if (isNew)
      return;
    PlannedLine& earlier = m_Plan.m_Lines[at->second];
    earlier.m_Skipped = earlierIs;
    earlier.m_By = m_Plan.m_Lines[index].m_Line;
    at->second = index;
  }

  const String& ValueOf(Index index) const { return m_Plan.m_Lines[index].m_Value; }

  /// In the order in which the tool sends them.
  void SendAll() {
    if (!m_Options.empty()) {
      const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
      message->m_Section = o_Distribution;
      for (const auto& [name, index] : m_Options)
        message->m_Options[name] = ValueOf(index);
      Send(*message, m_Options);
    }
    for (const auto& entry : m_TypeOptions) {
      const auto message = MessageFactory::Create<SetMasterOptionsMsg>();
      message->m_Section = entry.first.ToString();
      message->m_Options[m_Plan.m_Lines[entry.second].m_Name] = ValueOf(entry.second);
      Send(*message, std::map<UID, Index>{entry});
    }
    if (!m_Limits.empty()) {
      const auto message = MessageFactory::Create<SetMasterLimitsMsg>();
      for (const auto& [type, index] : m_Limits)
        message->m_Limits[type] = LeadingNumber(ValueOf(index));
      Send(*message, m_Limits);
    }
    if (!m_Restrictions.empty()) {
      const auto message = MessageFactory::Create<SetMasterRestrictionsMsg>();
      for (const auto& [name, index] : m_Restrictions)
        message->m_Restrictions[name] = ValueOf(index).Bool();
      Send(*message, m_Restrictions);
    }
  }

  template <typename Map>
  void Send(const Message& message, const Map& lines) {
    const rlib::Result<> taken = Take(message);
    if (taken)
      return;
    ++m_Plan.m_Refused;
    for (const auto& entry : lines) {
      PlannedLine& line = m_Plan.m_Lines[entry.second];
      line.m_Skipped = Skipped::k_Refused;
      line.m_Why = taken.Reason();
    }
  }

  rlib::Result<> Take(const Message& message) {
    {
      wire::Frame frame;
      wire::ToWire(message, *frame.mutable_message());
      if (const auto excess = wire::Excess(frame))
        return rlib::Failure(*excess);
    }
    const auto judged = Judge(m_Plan.m_After, {}, message);
    if (!judged)
      return judged.Why();
    m_Plan.m_After.Take(judged->m_Change);
    return {};
  }

  const JobFactory m_Products;
  OptionsFilePlan m_Plan;
  // What each request would hold.
  rlib::map<String, Index, String::ciless> m_Options;
  std::map<UID, Index> m_TypeOptions;
  std::map<UID, Index> m_Limits;
  std::map<String, Index> m_Restrictions;
};

} // namespace

PlannedState StateIn(const Farm& farm, const PlannedLine& line) {
  if (line.m_What == What::k_Restriction)
    return farm.m_Restrictions.contains(line.m_Name) ? PlannedState("true") : std::nullopt;
  if (line.m_What == What::k_Limit) {
    const auto limit = farm.m_Limits.find(line.m_Type);
    return limit != farm.m_Limits.end() ? PlannedState(std::to_string(limit->second)) : std::nullopt;
  }
  const OptionMap& options = farm.OptionsOf(line.m_Type);
  const auto option = options.find(line.m_Name);
  return option != options.end() ? PlannedState(option->second) : std::nullopt;
}

rlib::Result<OptionsFilePlan> PlanOptionsFile(const Farm& farm, const Path& file) {
  return Planner(farm).Plan(file);
}

} // namespace brenic::master
