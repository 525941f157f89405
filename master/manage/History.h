// The audit trail's changes in an administrator's words. Pure functions to text.
#pragma once

#include <functional>

#include "store/Store.h"

namespace brenic::master {

/// What is known of a product type now.
struct KnownType {
  String m_Name; // empty where nothing is known of it
  bool m_IsDefault = false;
};
using TypeNamer = std::function<KnownType(const UID& type)>;

/// What of the history is wanted; what is not given fits everything.
struct HistoryFilter {
  std::optional<String> m_Client; // who asked
  std::optional<String> m_Option; // its name, ASCII case ignored
  std::optional<String> m_User;   // whose limit
  std::optional<String> m_Root;   // in a root of a path translation
  std::optional<std::set<UID>> m_Products;
};

/// Each thing that changed and fits, from what to what: "option 'MaxJobs': '1' -> '2'". A product type has
/// the name that a document in the change gives it, else that by which it is known now.
std::vector<std::string> ChangeWords(const Change& change, const HistoryFilter& filter,
                                     const TypeNamer& namer);

/// The record on one line: who changed what, when. Empty when it does not fit.
std::string HistoryText(const AuditRecord& record, const HistoryFilter& filter, const TypeNamer& namer);
/// The same with all that it changed, as one JSON object on one line.
std::string HistoryJson(const AuditRecord& record, const HistoryFilter& filter, const TypeNamer& namer);

} // namespace brenic::master
