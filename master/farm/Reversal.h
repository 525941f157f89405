// The settings that there are to be when some changes are taken back, thing by thing.
#pragma once

#include <map>

#include "farm/Entry.h"
#include "farm/ListReversal.h"

namespace brenic::master {

/// Path translations: each by itself.
struct TranslationTraits {
  static const TranslationSet& Key(const TranslationSet& translation) { return translation; }
  static bool IsFiller(const TranslationSet&) { return false; }
};

/// Pieces of the user limits: all of one user together. Empty ones are between others.
struct PieceTraits {
  static String Key(const String& piece) { return UserOf(piece); }
  static bool IsFiller(const String& piece) { return piece.empty(); }
};

/// The user limits while changes are taken back, be they changed piece by piece or as one text.
class UserLimitsReversal {
public:
  explicit UserLimitsReversal(const Farm& farm);

  static bool IsIn(const Change& change);
  void Pass(const Change& change);
  /// The things that are not as the change left them; then nothing was taken back.
  std::vector<Entry> Revert(const Change& change);
  /// In the spelling that it had.
  const String& Name() const { return m_Name; }
  /// The option's value; none when it is not to be set.
  std::optional<String> Value() const;

private:
  std::vector<Entry> RevertPieces(const UserLimitsChange& change);
  std::vector<Entry> RevertText(const OptionChange& change);

  String m_Name;
  bool m_IsSet;
  ListReversal<String, PieceTraits> m_Pieces;
};

/// Changes are taken back newest first. The farm must outlive it.
class Reversal {
public:
  /// A thing that is not as a change left it.
  struct Conflict {
    int64_t m_Sequence;
    Entry m_Entry;
  };

  explicit Reversal(const Farm& farm) : m_Farm(farm) {}

  /// Whether the change concerns what has an order, so that the past must be gone through.
  static bool HasLists(const Change& change);

  /// Takes back all of it but the lists.
  void RevertStates(int64_t sequence, const Change& change);
  /// Goes back through the past of the lists: every change since the oldest one that is taken back.
  void RevertLists(int64_t sequence, const Change& change);
  void PassLists(const Change& change);

  const std::vector<Conflict>& Conflicts() const { return m_Conflicts; }

  /// What leads from the farm to it, if there is no conflict. Fails when that cannot be.
  rlib::Result<Change> ToChange() const;

private:
  struct OptionState {
    String m_Name; // in the spelling that it had
    std::optional<String> m_Value;
  };
  using OptionStates = std::map<String, OptionState, String::ciless>;

  void RevertOption(int64_t sequence, const OptionChange& option);
  /// Puts the state before in the place of that after, which `state` must be; else that is a conflict.
  template <typename State>
  void RevertStep(int64_t sequence, const Entry& entry, const Step<State>& step, std::optional<State>& state);
  ListReversal<TranslationSet, TranslationTraits>& Translations();
  UserLimitsReversal& UserLimits();

  const Farm& m_Farm;
  std::map<UID, OptionStates> m_Options; // by section
  std::map<UID, std::optional<int>> m_Limits;
  std::map<String, bool> m_Restrictions;
  std::map<UID, std::optional<Customisation>> m_Products;
  std::optional<ListReversal<TranslationSet, TranslationTraits>> m_Translations;
  std::optional<UserLimitsReversal> m_UserLimits;
  std::vector<Conflict> m_Conflicts;
};

} // namespace brenic::master
