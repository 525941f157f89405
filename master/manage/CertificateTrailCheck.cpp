#include "manage/CertificateTrailCheck.h"

#include <map>

#include <fmt/core.h>

#include "brenic/MessageClasses.h"
#include "manage/CertificateWords.h"
#include "manage/Office.h"
#include "store/RevokedFile.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

constexpr char k_TableAdvice[] =
    "the table was changed past the Master: compare 'brenic-master clients' with "
    "'brenic-master audit', and revoke what may not be valid";

/// What the records say of a certificate; the last one that says so counts.
struct Told {
  int64_t m_Record = 0; // that told of it first
  bool m_IsIssued = false;
  std::optional<String> m_Name;
  std::optional<Role> m_Role;
  std::string m_Date; // of its end; empty: not told
  bool m_IsRevoked = false;
};

struct Row {
  std::string m_Serial;
  String m_Name;
  std::string m_Role;
  std::optional<int64_t> m_Issued, m_Expires;
  bool m_IsRevoked = false;
};

/// What was asked for; null when the bytes are not kept, or are not those any more.
shared_ptr<Message> RequestOf(const std::string& bytes, const std::string& digest) {
  wire::Envelope envelope;
  if (bytes.empty() || Sha256(bytes) != digest || !envelope.ParseFromString(bytes))
    return nullptr;
  try {
    return wire::FromWire(envelope);
  } catch (const wire::Malformed&) {
    return nullptr;
  }
}

bool IsOfManagers(const std::string& className) {
  const MessageDescription* const description = FindDescription(className);
  return description && description->m_Sender == Sender::k_Manager;
}

/// A database that was brought from an earlier layout got its table `client` after the trail.
bool WasAlwaysOfThisLayout(Database& database) {
  return database.Scalar("SELECT (SELECT rowid FROM sqlite_schema WHERE name = 'client') < "
                         "(SELECT rowid FROM sqlite_schema WHERE name = 'audit')") == "1";
}

class CertificateTrail {
public:
  CertificateTrail(Database& database, Findings& findings)
      : m_Database(database), m_Findings(findings), m_WasAlwaysOfThisLayout(WasAlwaysOfThisLayout(database)) {
  }

  void Read() {
    Statement row(m_Database.Handle(), "SELECT sequence, time, class, result, reason, request, digest "
                                       "FROM audit ORDER BY sequence");
    while (row.Step()) {
      const std::string className = row.Text(2);
      m_First = m_First.value_or(row.Integer(0));
      m_Latest = std::max(m_Latest, row.Integer(1));
      // Certificates of an earlier layout were issued without a record.
      if (!m_KnownSince && (m_WasAlwaysOfThisLayout || IsOfManagers(className)))
        m_KnownSince = m_Latest;
      if (row.Text(3) != "committed" || !IsOfManagers(className))
        continue;
      const shared_ptr<Message> request = RequestOf(row.Text(5), row.Text(6));
      const bool mayRevoke = className == "RevokeClientMsg" || className == "RestoreMsg";
      m_AreRevocationsTold = m_AreRevocationsTold && (request || !mayRevoke);
      Take(row.Integer(0), request, row.Text(4));
    }
  }

  void Compare() {
    std::vector<Row> rows = Rows();
    const Row* const first = OfFirstAdministrator(rows);
    for (const Row& row : rows) {
      const auto told = m_Told.find(row.m_Serial);
      if (&row == first)
        CompareFirst(row, told == m_Told.end() ? Told() : told->second);
      else if (told == m_Told.end() || !told->second.m_IsIssued)
        CompareUntold(row);
      if (row.m_IsRevoked && IsWhole() && m_AreRevocationsTold &&
          !(told != m_Told.end() && told->second.m_IsRevoked))
        Differs(row, "is revoked, though no record of the audit trail tells of it");
      if (told != m_Told.end()) {
        Compare(row, told->second);
        m_Told.erase(told);
      }
    }
    for (const auto& [serial, told] : m_Told)
      m_Findings.Problem(
          fmt::format("The certificate {} is not in the table 'client', though record {} of the "
                      "audit trail tells of it",
                      serial, told.m_Record),
          "restore the last backup that is whole, or issue its client new credentials");
    if (!first && IsWhole())
      m_Findings.Problem("The first administrator's certificate, which 'brenic-master init' made, is not in "
                         "the table 'client'",
                         "restore the last backup that is whole, or issue its client new credentials");
  }

  /// Whether records have left of a Master that is younger than anything that may leave.
  void CheckAge() {
    constexpr int64_t k_Youngest = 2 * k_Day; // AuditKeep is at least that
    if (!m_First || *m_First == 1)
      return;
    Statement row(m_Database.Handle(), "SELECT certificate FROM authority WHERE number = 1");
    Statement clock(m_Database.Handle(), "SELECT trusted FROM clock");
    int64_t latest = std::max(m_Latest, Time::Now().Milliseconds());
    while (clock.Step())
      latest = std::max(latest, clock.Integer(0));
    while (row.Step())
      if (latest < ValidityOf(row.Text(0)).m_Begin + k_Youngest)
        m_Findings.Problem(
            fmt::format(
                "Records 1 to {} of the audit trail are missing, though the Master is younger than any "
                "record that may have left",
                *m_First - 1),
            "what they told is in an earlier backup");
  }

private:
  void Take(int64_t sequence, const shared_ptr<Message>& request, const std::string& reason) {
    if (request && request->Type() == IssueClientMsg::s_Type)
      TakeIssue(sequence, static_cast<const IssueClientMsg&>(*request).m_Name, reason);
    else if (request && request->Type() == RevokeClientMsg::s_Type)
      TakeRevocation(sequence, reason);
    else if (request && request->Type() == RestoreMsg::s_Type)
      for (const String& line : static_cast<const RestoreMsg&>(*request).m_Revoked)
        if (const auto revocation = RevocationOfLine(line.str()))
          ToldOf(revocation->m_Serial, sequence).m_IsRevoked = true;
  }

  void TakeRevocation(int64_t sequence, const std::string& reason) {
    const auto revoked = ReadRevocation(reason);
    // Of very many only the first are named.
    m_AreRevocationsTold = m_AreRevocationsTold && revoked && reason.ends_with(revoked->back());
    for (const std::string& serial : revoked.value_or(std::vector<std::string>()))
      ToldOf(serial, sequence).m_IsRevoked = true;
  }

  void TakeIssue(int64_t sequence, const String& name, const std::string& reason) {
    const auto issue = ReadIssued(name, reason);
    if (!issue)
      return m_Findings.Note(
          fmt::format("Record {} of the audit trail does not tell which certificate was issued for {}",
                      sequence, Quoted(name)));
    if (!issue->m_AreAllTold)
      ForgetEndsOf(name);
    std::vector<EndTold> ends = issue->m_Superseded;
    ends.push_back(issue->m_Issued);
    for (const EndTold& end : ends) {
      Told& told = ToldOf(end.m_Serial, sequence);
      told.m_Name = name;
      told.m_Role = issue->m_Role;
      told.m_Date = end.m_Date;
    }
    m_Told[issue->m_Issued.m_Serial].m_IsIssued = true;
  }

  /// Some of them were changed, and which is not told.
  void ForgetEndsOf(const String& name) {
    for (auto& [serial, told] : m_Told) {
      if (told.m_Name != name)
        continue;
      told.m_Role.reset();
      told.m_Date.clear();
    }
  }

  Told& ToldOf(const std::string& serial, int64_t sequence) {
    Told& told = m_Told[serial];
    if (told.m_Record == 0)
      told.m_Record = sequence;
    return told;
  }

  std::vector<Row> Rows() {
    std::vector<Row> rows;
    Statement row(m_Database.Handle(),
                  "SELECT serial, name, role, issued, expires, revoked FROM client ORDER BY issued, serial");
    const auto time = [&](int column) {
      return row.IsNull(column) ? std::nullopt : std::optional(row.Integer(column));
    };
    while (row.Step())
      rows.push_back({row.Text(0), row.Text(1), row.Text(2), time(3), time(4), !row.IsNull(5)});
    return rows;
  }

  /// Whether each certificate but the first has its record.
  bool IsWhole() const { return m_WasAlwaysOfThisLayout && m_First.value_or(1) == 1 && !IsEmptied(); }
  bool IsEmptied() const {
    return !m_First && !m_Database.Scalar("SELECT seq FROM sqlite_sequence WHERE name = 'audit'").empty();
  }

  /// Null where it cannot be told from others that have no record.
  const Row* OfFirstAdministrator(const std::vector<Row>& rows) const {
    if (!IsWhole())
      return nullptr;
    for (const Row& row : rows) {
      const auto told = m_Told.find(row.m_Serial);
      if (row.m_Name == "admin" && (told == m_Told.end() || !told->second.m_IsIssued))
        return &row;
    }
    return nullptr;
  }

  void Differs(const Row& row, const std::string& how) {
    m_Findings.Problem(fmt::format("The certificate {} of {} {}", row.m_Serial, Quoted(row.m_Name), how),
                       k_TableAdvice);
  }

  void CompareFirst(const Row& row, const Told& told) {
    if (!told.m_Role && row.m_Role != RoleName(Role::k_Administrator))
      Differs(row, "is the first administrator's, but has another role, of which no record tells");
  }

  void CompareUntold(const Row& row) {
    if (IsWhole() || (m_KnownSince && row.m_Issued && *row.m_Issued > *m_KnownSince))
      Differs(row, "was issued, though no record of the audit trail tells of it");
  }

  void Compare(const Row& row, const Told& told) {
    const auto record = [&](const std::string& says) {
      return fmt::format(", but by record {} of the audit trail, or a later one, {}", told.m_Record, says);
    };
    if (told.m_Name && row.m_Name != *told.m_Name)
      Differs(row, "has that client" + record("it is that of " + Quoted(*told.m_Name)));
    if (told.m_Role && row.m_Role != RoleName(*told.m_Role))
      Differs(row, "has the role " + rlib::Excerpt(row.m_Role).str() +
                       record(std::string("it has the role ") + RoleName(*told.m_Role)));
    if (const std::string date = row.m_Expires ? DateText(*row.m_Expires) : "no date";
        !told.m_Date.empty() && date != told.m_Date)
      Differs(row, "ends on " + date + record("it ends on " + told.m_Date));
    if (told.m_IsRevoked && !row.m_IsRevoked)
      Differs(row, "is not revoked" + record("it is"));
  }

  Database& m_Database;
  Findings& m_Findings;
  const bool m_WasAlwaysOfThisLayout;
  std::map<std::string, Told> m_Told;  // by serial
  std::optional<int64_t> m_First;      // sequence of the first record that is kept
  std::optional<int64_t> m_KnownSince; // what was issued later has a record
  bool m_AreRevocationsTold = true;    // each with its serial number
  int64_t m_Latest = 0;                // of the times of the records so far
};

} // namespace

void CheckCertificateTrail(Database& database, Findings& findings) {
  findings.Guard("What the audit trail tells of certificates", [&] {
    CertificateTrail trail(database, findings);
    trail.Read();
    trail.Compare();
    trail.CheckAge();
  });
}

} // namespace brenic::master
