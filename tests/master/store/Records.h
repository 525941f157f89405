// Records of the audit trail for the tests.
#pragma once

#include "store/Store.h"

namespace brenic::master {

/// A committed request of the client 01, with an identifier of its own.
inline AuditRecord CommittedRecord(int64_t time, const Change& change = {}) {
  AuditRecord record;
  record.m_Time = time;
  record.m_ClientKey = "01";
  record.m_MessageId = UID(true);
  record.m_Class = "SetMasterOptionsMsg";
  record.m_Digest = "digest";
  record.m_Result = "committed";
  record.m_Run = "run";
  if (!change.IsEmpty())
    record.m_Change = std::make_shared<const Change>(change);
  return record;
}

} // namespace brenic::master
