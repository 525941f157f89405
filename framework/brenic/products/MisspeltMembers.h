// Members that a product's definition may not mean: unknown ones are kept, so a misspelt one is never missed.
#pragma once

#include <string>
#include <vector>

#include "brenic/Types.h"

namespace brenic {

struct MisspeltMember {
  size_t m_Offset; // of the member's name in the text
  std::string m_Member;
  std::string m_Meant; // a member that is known there
};

/// Of the definition, its parameters and its executables, the members that are not known and look like a
/// known one. Of a text that CheckJson takes.
std::vector<MisspeltMember> FindMisspeltMembers(const std::string& text);

/// How many letters have to be put in, left out, replaced or exchanged with their neighbour to make one text
/// of the other, ASCII case ignored.
size_t EditDistance(const std::string& one, const std::string& other);

} // namespace brenic
