#include "brenic/ManagementMessages.h"
#include "brenic/MessageFactory.h"
#include "manage/AuthorityKeys.h"
#include "manage/ClientCredentials.h"
#include "manage/Commands.h"
#include "manage/CredentialPrinting.h"
#include "rlib/OutFile.h"
#include "rlib/Stream.h"
#include "store/DataFolder.h"
#include "store/SqliteStore.h"

namespace brenic::master {

namespace {

void Print(const std::vector<std::string>& lines) {
  for (const std::string& line : lines)
    rlib::stdOut.PutLine(line);
}

void AddClient(CommandLine& line, const Ask& ask) {
  struct Options {
    std::string m_Name, m_Role, m_Out, m_Address;
    int m_Days = 0, m_Overlap = 14;
    bool m_Renew = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App& client = line.AddOnFolder("client", "Issues credentials", [options, ask](const Path& folder) {
    Tell(IssueCredentials({folder, options->m_Name, options->m_Role, options->m_Out, options->m_Days,
                           options->m_Address, options->m_Renew, options->m_Overlap},
                          ask) +
         "; its credentials are in '" + String(options->m_Out) + "'");
  });
  client.add_option("name", options->m_Name, "the client's name")->required();
  client.add_option("--role", options->m_Role, "administrator or component; in a renewal: as it was")
      ->check(CLI::IsMember({"administrator", "component"}));
  client.add_option("--out", options->m_Out, "folder that gets the credentials")->required();
  client.add_option("--master", options->m_Address,
                    "address of the Master that the credentials name; its own first host by default");
  client.add_option("--days", options->m_Days, "how long the certificate is valid; 730 by default")
      ->check(WholeNumber(1, k_AuthorityDays));
  CLI::Option* const renew =
      client.add_flag("--renew", options->m_Renew, "a new certificate for a name that is taken");
  client
      .add_option("--overlap", options->m_Overlap,
                  "days for which the earlier one stays valid; 14 by default")
      ->needs(renew)
      ->check(WholeNumber(0, k_AuthorityDays));
  client.add_option("--valid-days", options->m_Days)
      ->check(WholeNumber(-k_AuthorityDays, k_AuthorityDays))
      ->group(""); // not shown: may be negative, for tests
}

/// By what certificates are judged, also where the machine's clock says another time, which is told.
int64_t BelievedTime(const TellTime& tellTime, Store& store) {
  const Moment moment = tellTime(store);
  if (moment.m_IsInDoubt)
    rlib::stdErr.PutLine("brenic-master: The machine's clock says " + Time(moment.m_Wall).Iso8601() +
                         " and is in doubt; certificates are judged by the Master's time, " +
                         Time(moment.m_Believed).Iso8601());
  return moment.m_Believed;
}

void AddClients(CommandLine& line, const TellTime& tellTime) {
  const auto json = std::make_shared<bool>(false);
  CLI::App& clients =
      line.AddOnFolder("clients", "Lists all certificates", [json, tellTime](const Path& folder) {
        SqliteStore store = OpenToRead(folder);
        const int64_t now = BelievedTime(tellTime, store);
        Print(*json ? ClientsJson(store.Clients()) : ClientsText(store.Clients(), now));
      });
  clients.add_flag("--json", *json, "one JSON object a line");
}

void AddRevoke(CommandLine& line, const Ask& ask) {
  const auto client = std::make_shared<std::string>();
  CLI::App& revoke =
      line.AddOnFolder("revoke", "Refuses a client from now on", [client, ask](const Path& folder) {
        const auto request = MessageFactory::Create<RevokeClientMsg>();
        request->m_Client = *client;
        Tell(ask(folder, *request).m_Text);
      });
  revoke.add_option("client", *client, "its name, or the serial number of one certificate")->required();
}

void AddHosts(CommandLine& line, const Ask& ask) {
  struct Options {
    std::vector<std::string> m_Add, m_Remove;
    bool m_List = false, m_Json = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App& hosts =
      line.AddOnFolder("hosts", "The names and addresses that the Master's certificate is valid for",
                       [options, ask](const Path& folder) {
                         if (!options->m_Add.empty() || !options->m_Remove.empty()) {
                           const auto request = MessageFactory::Create<ChangeHostsMsg>();
                           request->m_Add.assign(options->m_Add.begin(), options->m_Add.end());
                           request->m_Remove.assign(options->m_Remove.begin(), options->m_Remove.end());
                           return Tell(ask(folder, *request).m_Text);
                         }
                         const MasterRecord master = OpenToRead(folder).LoadMaster();
                         Print(options->m_Json ? HostsJson(folder, master) : HostsText(folder, master));
                       });
  CLI::Option* const add =
      hosts.add_option("--add", options->m_Add, "makes it valid for one more")->allow_extra_args(false);
  CLI::Option* const remove =
      hosts.add_option("--remove", options->m_Remove, "takes one away")->allow_extra_args(false);
  hosts.add_flag("--list", options->m_List, "lists them, as without options")
      ->excludes(add)
      ->excludes(remove);
  hosts.add_flag("--json", options->m_Json, "one JSON object")->excludes(add)->excludes(remove);
}

void ExportKey(const Path& folder, const Path& file) {
  const std::string keys = ExportAuthority(OpenToRead(folder).LoadMaster());
  if (keys.empty())
    throw new Exception("This Master does not hold the key of any authority");
  rlib::OutFile out(file, rlib::OutFile::k_Write | rlib::OutFile::k_Create | rlib::OutFile::k_Truncate, true,
                    false, 0600);
  out.Put(String(keys));
  out.Close();
}

String ReadKeyFile(const Path& file) {
  const auto text = ReadSmallFile(file);
  if (!text)
    throw new Exception(text.Reason());
  if (text->empty())
    throw new Exception("The file '" + file.str() + "' is empty");
  return *text;
}

void AddAuthority(CommandLine& line, const Ask& ask, const TellTime& tellTime) {
  struct Options {
    bool m_Renew = false, m_Json = false, m_Forget = false, m_HasFile = false;
    std::string m_Export, m_Import;
  };
  const auto options = std::make_shared<Options>();
  const auto run = [options, ask, tellTime](const Path& folder) {
    if (options->m_Renew)
      return Tell(ask(folder, *MessageFactory::Create<RenewAuthorityMsg>()).m_Text);
    const auto move = MessageFactory::Create<MoveAuthorityMsg>();
    if (options->m_HasFile && options->m_Import.empty() && options->m_Export.empty())
      throw new Exception("No file is named");
    if (!options->m_Import.empty()) {
      move->m_Keys = ReadKeyFile(options->m_Import);
      return Tell(ask(folder, *move).m_Text);
    }
    if (!options->m_Export.empty()) {
      ExportKey(folder, options->m_Export);
      Tell("Wrote the authority's key to '" + String(options->m_Export) +
           "': whoever has it can make credentials for this farm");
      return options->m_Forget ? Tell(ask(folder, *move).m_Text) : void();
    }
    SqliteStore store = OpenToRead(folder);
    const int64_t now = BelievedTime(tellTime, store);
    Print(options->m_Json ? AuthoritiesJson(store, now) : AuthoritiesText(store, now));
  };
  CLI::App& authority =
      line.AddOnFolder("authority", "Who signs the certificates, and makes the next one", run);
  CLI::Option* const renew = authority.add_flag("--renew", options->m_Renew, "makes the next authority");
  CLI::Option* const exported =
      authority.add_option("--export", options->m_Export, "writes its certificate and key to a new file");
  authority.add_flag("--forget", options->m_Forget, "takes the key away here once it is written")
      ->needs(exported);
  CLI::Option* const imported =
      authority.add_option("--import", options->m_Import, "puts the key in place from such a file");
  for (CLI::Option* const file : {exported, imported})
    file->each([options](const std::string&) { options->m_HasFile = true; });
  renew->excludes(exported)->excludes(imported);
  exported->excludes(imported);
  authority.add_flag("--json", options->m_Json, "one JSON object a line");
}

} // namespace

void AddCredentialCommands(CommandLine& line, const Ask& ask, const TellTime& tellTime) {
  AddClient(line, ask);
  AddClients(line, tellTime);
  AddRevoke(line, ask);
  AddHosts(line, ask);
  AddAuthority(line, ask, tellTime);
}

} // namespace brenic::master
