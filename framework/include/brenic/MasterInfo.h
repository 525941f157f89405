// The Master's description of itself, received when connecting.
#pragma once

#include "brenic/Types.h"

namespace brenic {

struct MasterInfo {
  UID m_ID;
  String m_Name;
  unsigned m_Version = 0; // packed, for VER_STRING
  Time m_Released;
  Time m_Started;
  unsigned m_DefaultIdleTimeout = 0; // minutes
  String m_Message;
};

} // namespace brenic
