// A Master that decides one request, for tests that need no process.
#pragma once

#include "manage/Administration.h"
#include "manage/Registrar.h"
#include "serve/Alone.h"

namespace brenic::master {

/// As `Ask`, of a Master that is made for it alone.
inline Asked AskAlone(const Path& folder, const Message& message) {
  const CertificateCare care{[folder](Store& store, const Message& request, const Moment& moment) {
                               return Register(folder, store, request, moment);
                             },
                             {},
                             {}};
  return ReadAnswer(message, DecideAlone(folder, message, care));
}

} // namespace brenic::master
