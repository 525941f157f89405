// Messages that read and change the Master's settings.
#pragma once

#include "brenic/Message.h"

namespace brenic {

/// Option names to values; names that differ only in ASCII case are one entry, in its first spelling.
using OptionMap = rlib::map<String, String, String::ciless>;

/// To the Master: sets options of one section. From the Master: the reply to a GetMasterOptionsMsg.
class SetMasterOptionsMsg : public MessageOf<SetMasterOptionsMsg> {
public:
  static constexpr const char* k_ClassName = "SetMasterOptionsMsg";

  String m_Section; // o_Distribution, or a product type's identifier as text
  OptionMap m_Options;
};

/// Asks for options of the global section; the reply holds every name that was asked for.
class GetMasterOptionsMsg : public MessageOf<GetMasterOptionsMsg> {
public:
  static constexpr const char* k_ClassName = "GetMasterOptionsMsg";

  rlib::vector<String> m_OptionNames;
};

class SetMasterLimitsMsg : public MessageOf<SetMasterLimitsMsg> {
public:
  static constexpr const char* k_ClassName = "SetMasterLimitsMsg";

  rlib::map<UID, int> m_Limits; // product type to number of workers; -1 lifts the limit
};

class SetMasterRestrictionsMsg : public MessageOf<SetMasterRestrictionsMsg> {
public:
  static constexpr const char* k_ClassName = "SetMasterRestrictionsMsg";

  rlib::map<String, bool> m_Restrictions; // true adds, false removes; names are case-sensitive
};

} // namespace brenic
