// What a farm holds, one thing at a time: what changes are told apart by when one of them is taken back.
#pragma once

#include <string>

#include "farm/Farm.h"

namespace brenic::master {

/// One thing that has a state of its own, absence included.
struct Entry {
  enum class Kind {
    k_Option,      // m_Type, null for the global options, and m_Name, ASCII case ignored
    k_UserLimit,   // m_Name: the user
    k_Limit,       // m_Type
    k_Restriction, // m_Name
    k_Product,     // m_Type
    k_Translation, // m_Translation
  };
  Kind m_Kind;
  UID m_Type = UID(false);
  String m_Name;
  TranslationSet m_Translation;
};

/// The user whose limit a piece of the user limits is: what stands before its "=". All of a piece without
/// one.
String UserOf(const String& piece);

/// Whether the change concerns the entry.
bool Touches(const Change& change, const Entry& entry);

/// What an administrator calls it, with its article: "the option 'MaxJobs'".
std::string EntryName(const Farm& farm, const Entry& entry);

/// "product 'Maya'", or with the identifier where the farm does not know the type.
std::string ProductName(const Farm& farm, const UID& type);

/// The roots, with the platforms' names: "Windows 'P:\', Linux '/mnt'".
std::string RootsText(const TranslationSet& translation);

} // namespace brenic::master
