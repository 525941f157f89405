// Where the Master keeps everything durably. docs/storage.md explains the tables.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>

#include "farm/Farm.h"
#include "farm/Peer.h"
#include "farm/Trail.h"

namespace brenic::master {

/// The store failed. After a full or a busy one the Master goes on, after a broken one it must not. Where a
/// record of the trail is damaged, all else can be used.
class StoreFailure : public std::runtime_error {
public:
  enum class Kind { k_Broken, k_Full, k_Busy, k_DamagedRecord };

  explicit StoreFailure(const std::string& text, Kind kind = Kind::k_Broken)
      : std::runtime_error(text), m_Kind(kind) {}
  Kind Which() const { return m_Kind; }

private:
  Kind m_Kind;
};

/// A certificate with its key, PEM.
struct Credential {
  std::string m_Certificate;
  std::string m_Key;
};

/// Who signs certificates. The numbers ascend: the highest one signs, the earlier ones are still trusted.
struct Authority {
  int64_t m_Number = 1;
  Credential m_Credential; // its key is empty where another machine holds it
};

/// The Master itself.
struct MasterRecord {
  UID m_ID = UID(false);
  String m_Name;
  String m_Address;       // that clients are told; empty when none was ever given
  Credential m_Authority; // the one that signs
  Credential m_Server;
  int64_t m_ServerAuthority = 1;             // the number of the one that signed m_Server
  std::vector<Authority> m_Authorities = {}; // all, the one that signs last; as loaded

  /// The certificates of all authorities, PEM: what clients trust.
  std::string TrustedCertificates() const;
};

/// A certificate that was issued to a client. Times are milliseconds since 1970-01-01 UTC.
struct ClientRecord {
  /// When the client was last let in, and what it said of itself.
  struct Sighting {
    int64_t m_Time = 0;
    std::string m_Address;
    String m_Program;
    uint32_t m_Version = 0;
  };

  std::string m_Serial; // of the certificate, lower-case hexadecimal
  String m_Name;
  Role m_Role = Role::k_Component;
  int64_t m_Authority = 1;               // number of the one that signed it
  std::optional<int64_t> m_Issued = {};  // none: by an earlier program, and not seen since
  std::optional<int64_t> m_Expires = {}; // it is not accepted from then on; the same
  std::optional<int64_t> m_Revoked = {}; // since when it is refused
  std::optional<Sighting> m_LastSeen = {};
};

/// What became of a request about certificates that was not refused.
struct Managed {
  String m_Done;                        // a sentence, for whoever asked and for the audit trail
  shared_ptr<Message> m_Reply;          // may be null
  std::vector<std::string> m_Dismissed; // serials whose connections end: they ask for nothing any more
};

/// When something about certificates is decided, in milliseconds since 1970-01-01 UTC.
struct Moment {
  int64_t m_Believed = 0;   // what is valid is judged by this
  int64_t m_Wall = 0;       // by the machine's clock
  bool m_IsInDoubt = false; // that clock; else the two differ little

  /// Nobody's clock is to find what is issued now not valid yet, nor ended before its time.
  int64_t Earlier() const { return std::min(m_Believed, m_Wall); }
  int64_t Later() const { return std::max(m_Believed, m_Wall); }
};

/// What is known of the time, in milliseconds since 1970-01-01 UTC: see TrustedClock.
struct ClockRecord {
  struct Doubt {
    int64_t m_Wall = 0;  // what the machine's clock said at m_Trusted
    int64_t m_Until = 0; // by what is believed
  };

  int64_t m_Trusted = 0;
  std::optional<Doubt> m_Doubt = {}; // of the machine's clock
};

/// A request of more bytes is not kept as it came in the audit trail; a field that is longer as JSON text is
/// not shown.
inline constexpr size_t k_MaxAuditField = 64 * 1024;

/// The class of the record that a Master writes of itself when it has taken other default products.
inline constexpr char k_DefaultProductsClass[] = "DefaultProducts";

/// One request in the audit trail, or what the Master did of itself.
struct AuditRecord {
  int64_t m_Sequence = 0; // in commit order; given by the store
  int64_t m_Time = 0;     // milliseconds since 1970-01-01 UTC
  std::string
      m_ClientKey; // certificate serial, or "uid:N" of a local peer: what identifiers are remembered with
  std::string m_ClientId; // as the client calls itself
  String m_ClientName;
  Role m_Role = Role::k_Component;
  uint32_t m_Kind = 0;
  std::string m_Address;
  UID m_MessageId;
  std::string m_Class;
  std::string m_Digest; // SHA-256 of the request's bytes
  size_t m_Size = 0;    // of the request, in bytes
  /// The request's bytes; null where they are not kept. Fewer than m_Size: a message with its small fields
  /// alone.
  std::shared_ptr<const std::string> m_Request;
  std::shared_ptr<const Change> m_Change; // what it did; null for nothing
  /// In a record that was read, in place of m_Change: decodes it, which few readers need. Empty for nothing.
  /// Usable while the store is; throws StoreFailure.
  std::function<std::shared_ptr<const Change>()> m_LoadChange;
  std::string m_Result; // "committed", "refused" or "answered"
  std::string m_Reason;
  std::string m_Run; // of the Master process that decided
  /// Written by a Master of layout 1: the request as a JSON object, in place of its bytes. Its digest is of
  /// the request decoded and encoded again.
  std::string m_FieldsOfLayout1;

  /// What it did, whether it was read or is to be written; null for nothing. Throws StoreFailure.
  std::shared_ptr<const Change> LoadedChange() const { return m_LoadChange ? m_LoadChange() : m_Change; }
  bool IsShortened() const { return m_Request && m_Request->size() < m_Size; }
  bool IsOfLayout1() const { return !m_FieldsOfLayout1.empty(); }
};

/// Which records may leave the audit trail, and how many at once.
struct AuditPiece {
  int64_t m_Before = 0; // milliseconds; they are older
  int64_t m_Now = 0;    // of a later one the clock was wrong: it leaves with an older one behind it
  int64_t m_Last = 0;   // highest sequence that may leave
  size_t m_Records = 0; // at most
  size_t m_Bytes = 0;   // it ends with the record that reaches that many
  std::function<bool()> m_GoOn = [] { return true; }; // asked behind each record but the last
};

/// What a piece was. None left when m_Records is 0.
struct AuditRemoval {
  size_t m_Records = 0;
  int64_t m_UpTo = 0; // time of the last one
};

/// Which documents of changes were looked at: up to this one.
struct DocumentMark {
  std::string m_Digest;
  int64_t m_Sequence = 0;
};

/// Used by one thread at a time. Everything throws StoreFailure. A function outside of a transaction is one
/// of its own.
class Store : public Trail {
public:
  virtual MasterRecord LoadMaster() = 0;
  /// The Master's own certificate, in place of the earlier one, and the number of the authority that signed
  /// it.
  virtual void ReplaceServerCredential(const Credential& credential, int64_t authority) = 0;
  /// What clients are told from now on.
  virtual void SetAddress(const String& address) = 0;
  /// The authority that signs from now on; its number.
  virtual int64_t AddAuthority(const Credential& authority) = 0;
  /// The key of an authority; an empty one takes it away.
  virtual void SetAuthorityKey(int64_t number, const std::string& key) = 0;
  virtual void RemoveAuthority(int64_t number) = 0;
  /// The Master's name, in place of the earlier one.
  virtual void Rename(const String& name) = 0;
  /// Whether it may serve: it was never restored, or was accepted since.
  virtual bool IsAccepted() = 0;
  virtual void Accept() = 0;
  virtual Farm LoadFarm() = 0;

  virtual void AddClient(const ClientRecord& client) = 0;
  virtual std::optional<ClientRecord> FindClient(const std::string& serial) = 0;
  /// All of them, by name and then by the time of issue.
  virtual std::vector<ClientRecord> Clients() = 0;
  virtual std::vector<ClientRecord> ClientsNamed(const String& name) = 0;
  /// All but when it was last seen, which it leaves as it is.
  virtual void ReplaceClient(const ClientRecord& client) = 0;
  /// Nothing for a serial that there is not.
  virtual void SetLastSeen(const std::string& serial, const ClientRecord::Sighting& seen) = 0;

  /// None in a new store.
  virtual std::optional<ClockRecord> LoadClock() = 0;
  virtual void SetClock(const ClockRecord& clock) = 0;
  /// Of the last record in the audit trail; none when there is none.
  virtual std::optional<int64_t> TimeOfLastRecord() = 0;

  /// Others that hold the store are not waited for from now on. Any thread.
  virtual void Hurry() = 0;
  /// The last call: brings everything to where it is found without a log. False when others keep it from
  /// that.
  virtual bool Finish() = 0;

  virtual void Begin() = 0;
  /// The transaction is durable when this returns.
  virtual void Commit() = 0;
  virtual void Rollback() = 0;

  virtual void Apply(const Change& change) = 0;
  virtual void Record(const AuditRecord& record) = 0;
  /// How a request of this identifier was decided: class, digest, result, reason and run, and whether the
  /// record is of layout 1. Requests that were only answered are not remembered.
  virtual std::optional<AuditRecord> FindDecision(const std::string& clientKey, const UID& messageId) = 0;
  /// Calls `each` for the records from `since` (milliseconds) on, in commit order. Holds nothing that others
  /// wait for while it does.
  virtual void ReadAudit(int64_t since, const std::function<void(const AuditRecord&)>& each) = 0;
  /// Sequence and time of the newest record.
  virtual std::optional<std::pair<int64_t, int64_t>> NewestAudit() = 0;
  /// The lowest sequence with a time from `from` to `to`, both in milliseconds.
  virtual std::optional<int64_t> FirstAudit(int64_t from, int64_t to) = 0;
  /// Lets the oldest records leave, in the order of their sequences, which stay used. Waits for nobody.
  virtual AuditRemoval RemoveAudit(const AuditPiece& piece) = 0;
  /// The same for documents that only records referred to that have left. Looks at `most` references behind
  /// `from` and returns the last one; nothing when there is none any more.
  virtual std::optional<DocumentMark> RemoveDocuments(const DocumentMark& from, size_t most,
                                                      const std::function<bool()>& goOn) = 0;
  /// The same for the records of what changed something, newest first, until `each` returns false. Among
  /// them are all committed requests of layout 1, and those that tell what they did as their reason.
  virtual void ReadHistory(int64_t since, const std::function<bool(const AuditRecord&)>& each) = 0;
  /// Calls `each` for every product document that the store keeps.
  virtual void ReadDocuments(const std::function<void(const Product&)>& each) = 0;
};

/// Runs `store`, for something that the Master also does without: a store that cannot take it now, which the
/// log tells (`what` stays as it was), does not keep it from serving. Throws what else it throws.
void TryToStore(const char* what, const std::function<void()>& store);

} // namespace brenic::master
