// The audit trail, from its end to its beginning.
#include <fmt/core.h>

#include "farm/TextCheck.h"
#include "products/ProductDocument.h"
#include "rlib/Escape.h"
#include "rlib/Utf8.h"
#include "store/ChangeBytes.h"
#include "store/DatabaseCheck.h"
#include "store/TakingBack.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

constexpr char k_TrailAdvice[] =
    "look at it with 'brenic-master audit'; what the trail told is in an earlier backup";
constexpr int64_t k_Hour = 60 * 60 * 1000; // milliseconds

/// The columns of a record, in the order in which they are read.
constexpr char k_Columns[] =
    "SELECT sequence, time, client_role, message_id, class, digest, fields, fields = '' OR "
    "json_valid(fields), "
    "result, size, request, change, client_key, client_id, client_name, client_address, reason, run "
    "FROM audit ORDER BY sequence DESC";
enum Column {
  k_Sequence,
  k_Time,
  k_Role,
  k_MessageId,
  k_Class,
  k_Digest,
  k_Fields,
  k_FieldsAreJson,
  k_Result,
  k_Size,
  k_Request,
  k_Change,
  k_FirstText
};
constexpr int k_Texts = 6; // from k_FirstText on
constexpr int k_ClientName = k_FirstText + 2;

class WholeTrail {
public:
  WholeTrail(Database& database, TakingBack* settings, Findings& findings)
      : m_Document(database.Handle(), "SELECT document FROM document WHERE digest = ?"),
        m_Reference(database.Handle(), "SELECT 1 FROM change_document WHERE digest = ? AND sequence = ?"),
        m_Settings(settings), m_Findings(findings) {}

  void Check(const Statement& row) {
    const int64_t sequence = row.Integer(k_Sequence);
    m_Record = fmt::format("Record {} of the audit trail", sequence);
    CheckOrder(sequence, row.Integer(k_Time));
    CheckValues(row);
    if (row.Text(k_Fields).empty())
      CheckRequest(row);
    if (row.IsNull(k_Change)) {
      // What requests of layout 1 did is not known.
      if (!row.Text(k_Fields).empty() && row.Text(k_Result) == "committed")
        m_Settings = nullptr;
    } else if (!m_Findings.Guard(m_Record.c_str(), [&] { CheckChange(row, sequence); }))
      m_Settings = nullptr;
    m_Last = sequence;
    m_LastTime = row.Integer(k_Time);
    m_Findings.Checked("records", 1);
  }

  /// The oldest record has been checked. `isNew`: there never was one.
  void End(bool isNew) {
    if ((m_Last == 1 || (!m_Last && isNew)) && m_Settings)
      m_Settings->ExpectNothing(m_Findings);
  }

private:
  void Problem(const std::string& what) { m_Findings.Problem(m_Record + " " + what, k_TrailAdvice); }

  void CheckOrder(int64_t sequence, int64_t time) {
    if (sequence < 1)
      Problem("has a number that none is given");
    if (m_Last && sequence != *m_Last - 1) {
      m_Settings = nullptr;
      m_Findings.Problem(
          sequence + 1 == *m_Last - 1
              ? fmt::format("Record {} of the audit trail is missing", sequence + 1)
              : fmt::format("Records {} to {} of the audit trail are missing", sequence + 1, *m_Last - 1),
          "what they told is in an earlier backup");
    }
    if (Time(time).Format().empty() || time < 0)
      Problem("has no time");
    else if (time > Time::Now().Milliseconds() + 24 * k_Hour)
      m_Findings.Note(fmt::format("{} is of {}, which is still to come: the clock was wrong", m_Record,
                                  Time(time).Iso8601().str()));
    if (m_Last && time > m_LastTime + k_Hour)
      m_Findings.Note(fmt::format("Behind record {} of the audit trail the clock was set back from {} to {}",
                                  sequence, Time(time).Iso8601().str(), Time(m_LastTime).Iso8601().str()));
  }

  void CheckValues(const Statement& row) {
    const std::string role = row.Text(k_Role), result = row.Text(k_Result);
    if (RoleName(RoleOf(role)) != role)
      Problem("has an unknown role");
    if (result != "committed" && result != "refused" && result != "answered")
      Problem("has an unknown result");
    if (row.Text(k_MessageId).size() != UID::Raw().size())
      Problem("has an identifier that is not 16 bytes long");
    if (row.Text(k_Digest).size() != k_DigestBytes)
      Problem("has a digest that is not 32 bytes long");
    if (row.Integer(k_FieldsAreJson) == 0)
      Problem("has fields that are no JSON");
    if (row.Integer(k_Size) < 0)
      Problem("has a negative size");
    if (!row.Text(k_Fields).empty())
      return; // a Master of layout 1 kept what it refused as it came
    bool isText = rlib::IsUtf8(row.Text(k_Class));
    for (int column = k_FirstText; column != k_FirstText + k_Texts; ++column)
      isText = isText && rlib::IsUtf8(row.Text(column));
    if (!isText)
      Problem("holds text that is not valid UTF-8");
    else if (rlib::HoldsControls(row.Text(k_ClientName)))
      Problem("has a client whose name holds a control character");
  }

  void CheckRequest(const Statement& row) {
    if (row.IsNull(k_Request))
      return;
    const std::string bytes = row.Text(k_Request);
    const auto size = static_cast<size_t>(row.Integer(k_Size));
    wire::Envelope envelope;
    if (bytes.size() > size || bytes.size() > k_MaxAuditField)
      Problem(fmt::format("keeps {} bytes of a request of {}", bytes.size(), size));
    else if (bytes.size() == size && Sha256(bytes) != row.Text(k_Digest))
      Problem("keeps a request that is not that of its digest");
    else if (!envelope.ParseFromString(bytes))
      Problem("keeps a request that cannot be decoded");
    else if (envelope.id() != row.Text(k_MessageId))
      Problem("keeps a request of another identifier");
    else if (const char* const name = wire::ClassName(envelope); name && row.Text(k_Class) != name)
      Problem(fmt::format("keeps a request of another class, {}", name));
  }

  void CheckChange(const Statement& row, int64_t sequence) {
    if (row.Text(k_Result) != "committed")
      Problem("has a change, but was not committed");
    const Change change = DecodeChange(
        row.Text(k_Change), [&](const std::string& digest) { return FindDocument(digest, sequence); });
    if (change.IsEmpty())
      Problem("has a change that holds nothing which this program knows");
    else if (m_Settings)
      m_Settings->TakeBack(sequence, change, m_Findings);
  }

  shared_ptr<const Product> FindDocument(const std::string& digest, int64_t sequence) {
    bool isReferred = false;
    for (m_Reference.Bind(Blob{digest}, sequence); m_Reference.Step();)
      isReferred = true;
    if (!isReferred)
      Problem("has a product document that is not kept for it, of the digest " + Hex(digest));
    std::optional<std::string> document;
    for (m_Document.Bind(Blob{digest}); m_Document.Step();)
      document = m_Document.Text(0);
    if (!document)
      throw StoreFailure("the product document of the digest " + Hex(digest) + " is missing");
    const auto product = ParseCheckedProduct(*document);
    if (!product)
      throw StoreFailure(product.Reason().str());
    return *product;
  }

  Statement m_Document;
  Statement m_Reference;
  TakingBack* m_Settings; // null where the settings of that time are not known
  Findings& m_Findings;
  std::string m_Record;          // of which is spoken
  std::optional<int64_t> m_Last; // the one after it
  int64_t m_LastTime = 0;
};

/// The last number that was given tells whether records are missing at the end. True when none ever was.
bool CheckEnd(Database& database, Findings& findings) {
  const std::string given = database.Scalar("SELECT seq FROM sqlite_sequence WHERE name = 'audit'");
  const std::string last = database.Scalar("SELECT max(sequence) FROM audit");
  if (last.empty() && !given.empty() && given != "0")
    findings.Problem("The audit trail is empty, though the number " + given +
                         " was given, and the newest record never leaves",
                     "records are missing; what they told is in an earlier backup");
  else if (!last.empty() && given != last)
    findings.Problem(
        fmt::format("The last record of the audit trail has the number {}, but the last that was "
                    "given is {}",
                    last, given.empty() ? "not known" : given),
        "records are missing at its end; what they told is in another backup");
  return last.empty() && given.empty();
}

/// What a start takes for the newest time that was believed.
void CheckClock(Database& database, Findings& findings) {
  constexpr char k_Advice[] =
      "once the machine's clock is right, a Master that serves for a day puts this right as well";
  constexpr int64_t k_Day = 24 * k_Hour, k_LongestAhead = 366 * k_Day;
  Statement row(database.Handle(), "SELECT trusted, doubted, doubted_until FROM clock");
  while (row.Step()) {
    const int64_t trusted = row.Integer(0), now = Time::Now().Milliseconds();
    const std::string believed = "The time that was believed last, " + Time(trusted).Iso8601().str();
    if (trusted <= 0 || Time(trusted).Format().empty()) {
      findings.Problem(fmt::format("The time that was believed last, {}, is none", trusted), k_Advice);
      continue;
    }
    if (trusted > now + k_LongestAhead) {
      findings.Problem(believed + ", is far ahead", k_Advice);
      continue;
    }
    if (trusted > now + k_Day)
      findings.Note(believed + ", is still to come: the clock was wrong, or is");
    if (row.IsNull(1) != row.IsNull(2))
      findings.Problem("Of the clock's doubt only a part is kept", k_Advice);
    else if (!row.IsNull(2) && (row.Integer(2) < trusted - k_Day || row.Integer(2) > trusted + k_Day))
      findings.Problem(fmt::format("The clock's doubt lasts until {}, by more than a day another time than "
                                   "is believed",
                                   row.Integer(2)),
                       k_Advice);
  }
}

} // namespace

void CheckTrail(Database& database, const Farm* farm, Findings& findings) {
  std::optional<TakingBack> settings;
  if (farm)
    settings.emplace(*farm);
  bool isNew = false;
  findings.Guard("The end of the audit trail", [&] { isNew = CheckEnd(database, findings); });
  findings.Guard("The clock", [&] { CheckClock(database, findings); });
  findings.Guard("The audit trail", [&] {
    WholeTrail trail(database, settings ? &*settings : nullptr, findings);
    Statement row(database.Handle(), k_Columns);
    while (row.Step())
      trail.Check(row);
    trail.End(isNew);
  });
}

} // namespace brenic::master
