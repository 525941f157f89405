// Messages that read and change the Master's settings.
#pragma once

#include "brenic/Message.h"

namespace brenic {

/// Option names to values; names that differ only in ASCII case are one entry, in its first spelling.
using OptionMap = rlib::map<String, String, String::ciless>;

/// To the Master: sets options of one section. From the Master: the reply to a GetMasterOptionsMsg.
class SetMasterOptionsMsg : public MessageOf<SetMasterOptionsMsg> {
public:
  static constexpr MessageDescription k_Description{
      "SetMasterOptionsMsg", TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b01"),
      "set options",         Sender::k_Both,
      RequestKind::k_Write,  false};

  String m_Section; // o_Distribution, or a product type's identifier as text
  OptionMap m_Options;

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Section", self.m_Section);
    visit("m_Options", self.m_Options);
  }
};

/// Asks for options of the global section; the reply holds every name that was asked for.
class GetMasterOptionsMsg : public MessageOf<GetMasterOptionsMsg> {
public:
  static constexpr MessageDescription k_Description{
      "GetMasterOptionsMsg", TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b02"),
      "tell its options",    Sender::k_Administrator,
      RequestKind::k_Read,   false};

  rlib::vector<String> m_OptionNames;

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_OptionNames", self.m_OptionNames);
  }
};

class SetMasterLimitsMsg : public MessageOf<SetMasterLimitsMsg> {
public:
  static constexpr MessageDescription k_Description{
      "SetMasterLimitsMsg", TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b03"),
      "set limits",         Sender::k_Administrator,
      RequestKind::k_Write, false};

  rlib::map<UID, int> m_Limits; // product type to number of workers; -1 lifts the limit

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Limits", self.m_Limits);
  }
};

class SetMasterRestrictionsMsg : public MessageOf<SetMasterRestrictionsMsg> {
public:
  static constexpr MessageDescription k_Description{
      "SetMasterRestrictionsMsg", TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b04"),
      "change restrictions",      Sender::k_Administrator,
      RequestKind::k_Write,       false};

  rlib::map<String, bool> m_Restrictions; // true adds, false removes; names are case-sensitive

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Restrictions", self.m_Restrictions);
  }
};

} // namespace brenic
