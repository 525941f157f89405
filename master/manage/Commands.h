// The subcommands that end by themselves.
#pragma once

#include <string>
#include <vector>

#include "manage/Certificates.h"

namespace brenic::master {

/// Everything a subcommand may be given, as text.
struct Arguments {
  std::string m_Folder, m_Name, m_Role, m_Out, m_Since;
  std::string m_Listen, m_PortFile, m_Socket, m_Config, m_Products;
  std::vector<std::string> m_Hosts;
  uint16_t m_Port = 0;
  int m_ValidDays = k_CertificateDays;
  bool m_Json = false, m_Ini = false, m_Init = false;
};

// Each throws Exception* or StoreFailure when it cannot do what it is for.

/// `init`: makes a Master.
void Init(const Arguments& arguments);
/// `client`: issues credentials.
void IssueClientCredentials(const Arguments& arguments);
/// `state`: prints what the Master holds.
void PrintState(const Arguments& arguments);
/// `audit`: prints the audit trail.
void PrintAudit(const Arguments& arguments);

} // namespace brenic::master
