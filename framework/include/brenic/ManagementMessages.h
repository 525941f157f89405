// Requests about certificates. A Master takes them from its own machine alone, by its management socket.
#pragma once

#include "brenic/Message.h"

namespace brenic {

/// Wants a certificate for a client.
class IssueClientMsg : public MessageOf<IssueClientMsg> {
public:
  static constexpr MessageDescription k_Description{
      "IssueClientMsg",      TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0d"),
      "issue a certificate", Sender::k_Manager,
      RequestKind::k_Write,  false};

  String m_Name;
  String m_Role;        // "administrator" or "component"; empty in a renewal: as it was
  String m_PublicKey;   // PEM
  int m_Days = 0;       // of validity; 0: as many as usual
  bool m_Renew = false; // for a name that is taken
  int m_Overlap = 0;    // days for which the client's earlier certificates stay valid, in a renewal

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Name", self.m_Name);
    visit("m_Role", self.m_Role);
    visit("m_PublicKey", self.m_PublicKey);
    visit("m_Days", self.m_Days);
    visit("m_Renew", self.m_Renew);
    visit("m_Overlap", self.m_Overlap);
  }
};

/// The reply to it.
class IssuedClientMsg : public MessageOf<IssuedClientMsg> {
public:
  static constexpr MessageDescription k_Description{
      "IssuedClientMsg",        TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0e"),
      "give out a certificate", Sender::k_Master,
      RequestKind::k_None,      false};

  String m_Certificate; // PEM
  String m_Authorities; // PEM: what the client is to trust
  String m_Address;     // of the Master

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Certificate", self.m_Certificate);
    visit("m_Authorities", self.m_Authorities);
    visit("m_Address", self.m_Address);
  }
};

/// From now on the certificates of a client are refused, or one of them.
class RevokeClientMsg : public MessageOf<RevokeClientMsg> {
public:
  static constexpr MessageDescription k_Description{
      "RevokeClientMsg",      TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b0f"),
      "revoke a certificate", Sender::k_Manager,
      RequestKind::k_Write,   false};

  String m_Client; // name, or serial number

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Client", self.m_Client);
  }
};

/// Changes the names and addresses that the Master's own certificate is valid for.
class ChangeHostsMsg : public MessageOf<ChangeHostsMsg> {
public:
  static constexpr MessageDescription k_Description{"ChangeHostsMsg",
                                                    TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b10"),
                                                    "change the Master's hosts",
                                                    Sender::k_Manager,
                                                    RequestKind::k_Write,
                                                    false};

  rlib::vector<String> m_Add;
  rlib::vector<String> m_Remove;

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Add", self.m_Add);
    visit("m_Remove", self.m_Remove);
  }
};

/// Makes the authority that signs from now on.
class RenewAuthorityMsg : public MessageOf<RenewAuthorityMsg> {
public:
  static constexpr MessageDescription k_Description{
      "RenewAuthorityMsg",    TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b11"),
      "make a new authority", Sender::k_Manager,
      RequestKind::k_Write,   false};

  template <typename Self, typename Visitor>
  static void Fields(Self&, Visitor&&) {}
};

/// Puts the keys of authorities in place, or takes them away. The audit trail never holds them.
class MoveAuthorityMsg : public MessageOf<MoveAuthorityMsg> {
public:
  static constexpr MessageDescription k_Description{
      "MoveAuthorityMsg",         TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b12"),
      "move the authority's key", Sender::k_Manager,
      RequestKind::k_Write,       false};

  String m_Keys; // certificates and keys, PEM; empty: those that are here are taken away

  template <typename Self, typename Visitor>
  static void Fields(Self&, Visitor&&) {}
};

/// The Master itself renews what of its own certificates is due.
class RenewMasterMsg : public MessageOf<RenewMasterMsg> {
public:
  static constexpr MessageDescription k_Description{"RenewMasterMsg",
                                                    TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b13"),
                                                    "renew the Master's certificates",
                                                    Sender::k_Manager,
                                                    RequestKind::k_Write,
                                                    false};

  template <typename Self, typename Visitor>
  static void Fields(Self&, Visitor&&) {}
};

/// What a restored Master is to be besides what the backup holds. Taken only before it is accepted.
class RestoreMsg : public MessageOf<RestoreMsg> {
public:
  static constexpr MessageDescription k_Description{"RestoreMsg",
                                                    TypeOf("5f1d9c0e-6f0b-4c57-9a3e-0d7c1d2a9b14"),
                                                    "make a Master of a backup",
                                                    Sender::k_Manager,
                                                    RequestKind::k_Write,
                                                    false};

  String m_Name;                  // of the Master from now on; empty: as it was
  rlib::vector<String> m_Hosts;   // that its certificate is for, besides its machine's; none: as it was
  rlib::vector<String> m_Revoked; // lines of the file `revoked` whose certificates are still valid
  bool m_Accept = false;          // it may serve from now on

  template <typename Self, typename Visitor>
  static void Fields(Self& self, Visitor&& visit) {
    visit("m_Name", self.m_Name);
    visit("m_Hosts", self.m_Hosts);
    visit("m_Revoked", self.m_Revoked);
    visit("m_Accept", self.m_Accept);
  }
};

} // namespace brenic
