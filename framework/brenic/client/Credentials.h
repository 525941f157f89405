// The files of a client's credentials.
#pragma once

#include "brenic/Types.h"

namespace brenic {

/// What a client shows a Master to be let in over TLS, and by what it knows the Master: files in PEM form.
struct Credentials {
  Path m_Authority;
  Path m_Certificate;
  Path m_Key;
};

} // namespace brenic
