#include "client/RequestName.h"

#include "brenic/MessageClasses.h"
#include "brenic/Options.h"

namespace brenic {

namespace {

/// A class without a name here does not compile.
struct Namer {
  const JobFactory* m_Products;

  String ProductOf(const UID& type) const {
    const auto product = m_Products ? m_Products->GetProduct(type) : nullptr;
    return "the product " + (product ? product->Name() : type.ToString());
  }

  String operator()(const SetMasterOptionsMsg& request) const {
    if (UID type; type.FromString(request.m_Section))
      return "the options of " + ProductOf(type);
    if (request.m_Options.size() == 1 && request.m_Options.contains(o_UserLimits))
      return "the user limits";
    return "the options of the section " + request.m_Section;
  }
  String operator()(const GetMasterOptionsMsg&) const { return "the names of the options to be told"; }
  String operator()(const SetMasterLimitsMsg&) const { return "the worker limits"; }
  String operator()(const SetMasterRestrictionsMsg&) const { return "the restrictions"; }
  String operator()(const PathTranslationsMsg&) const { return "the list of path translations"; }
  String operator()(const ProductMsg& request) const {
    return request.m_Product ? "the product " + request.m_Product->Name() : String("a product");
  }
  String operator()(const RemoveProductMsg& request) const {
    if (request.m_ProductType.IsNull())
      return "the return to the default products";
    return "the removal of " + ProductOf(request.m_ProductType);
  }
  String operator()(const EndProductsMsg&) const { return "the end of the product list"; }
  String operator()(const LogDumpMsg&) const { return "the log dump"; }
  String operator()(const ShutdownMsg&) const { return "the shutdown of the whole system"; }
  String operator()(const MachineMsg& request) const {
    return request.m_Command == MachineMsg::k_Reboot ? "the reboot of the Master's machine"
                                                     : "the shutdown of the Master's machine";
  }
  String operator()(const RevertMsg&) const { return "the return to earlier settings"; }
  String operator()(const IssueClientMsg& request) const { return "the certificate for " + request.m_Name; }
  String operator()(const IssuedClientMsg&) const { return "a certificate"; }
  String operator()(const RevokeClientMsg& request) const { return "the revocation of " + request.m_Client; }
  String operator()(const ChangeHostsMsg&) const { return "the Master's hosts"; }
  String operator()(const RenewAuthorityMsg&) const { return "the new authority"; }
  String operator()(const MoveAuthorityMsg&) const { return "the move of the authority's key"; }
  String operator()(const RenewMasterMsg&) const { return "the Master's certificates"; }
  String operator()(const RestoreMsg&) const { return "the restored Master"; }
};

} // namespace

String RequestName(const Message& request, const JobFactory* products) {
  return VisitMessage(request, Namer{products});
}

} // namespace brenic
