#include "SetwrightApp.h"

#include "rlib/CallEntry.h"
#include "rlib/Stream.h"

using namespace rlib;

namespace {

struct HelpLine {
  int m_EmptyLinesBefore;
  int m_Indent; // spaces
  const char* m_Text;
};

// The wording and the layout are fixed, misspellings included.
constexpr HelpLine k_Help[] = {
    {1, 0, "Setwright "},
    {1, 0, "Get Current Values:"},
    {0, 7, "-Info"},
    {0, 7, "-GetPathTranslations [-JSON]"},
    {0, 7, "-GetUserLimits"},
    {1, 0, "Settings:"},
    {0, 7, "-Option <name> <value>"},
    {0, 7, "-SetUserLimit <name> <value>"},
    {0, 7, "-RemoveUserLimit <name>"},
    {0, 7, "-TypeOption <type> <name> <value>"},
    {0, 7, "-Limit <type> <limit>"},
    {0, 7, "-AddRestriction <name>"},
    {0, 7, "-RemoveRestriction <name>"},
    {0, 7, "-CopyFile <file>"},
    {0, 7, "-PathTranslation <Windows-Root> <Linux-Root> <Mac-Root>"},
    {0, 7, "-RemovePathTranslation <Root>"},
    {1, 0, "Products:"},
    {0, 7, "-ExportProduct <product> <json-file>"},
    {0, 7, "-ImportProduct <json-file>"},
    {0, 7, "-RemoveProduct <product>"},
    {1, 0, "Operations:"},
    {0, 7, "-DumpLogs"},
    {0, 7, "-SuperExit"},
    {0, 7, "-Shutdown"},
    {0, 7, "-Reboot"},
    {3, 0, "You can get a report of the basic Master info"},
    {1, 0, "-Info"},
    {0, 7, "Will show the basic master information"},
    {1, 0, "-GetPathTranslations [-JSON]"},
    {0, 7, "Will list all current path translations. Use -JSON to display as JSON."},
    {1, 0, "-GetUserLimits"},
    {0, 7, "Outputs the current creator user limit restrictions."},
    {3, 0, "Use these options to configure various Master settings"},
    {0, 0, "Each option can be used multiple times on the same commandline, and you can use"},
    {0, 0, "multiple different options on the same commandline."},
    {1, 0, "-Option <name> <value>"},
    {0, 7, "This will set the Master option with the given name to the value you"},
    {0, 7, "provide"},
    {1, 0, "-SetUserLimit <name> <value>"},
    {0, 7, "This will set the limit of the number of outstanding workers you want to"},
    {0, 7, "limit a specified user/creator to."},
    {0, 9, "- Note, for names with a space, surround in \"\"."},
    {1, 0, "-RemoveUserLimit <name>"},
    {0, 7, "This will remove the limit of outstanding workers that is applied upon a"},
    {0, 7, "specified user/creator.  You can optionally choose to not provice a"},
    {0, 7, "user name, in order to remove ALL curent user worker limitations."},
    {0, 9, "- Note, for names with a space, surround in \"\"."},
    {1, 0, "-TypeOption <type> <name> <value>"},
    {0, 7, "This will set a Master option for a Product type with the given name to"},
    {0, 7, "the value you provide"},
    {1, 0, "-Limit <type> <limit>"},
    {0, 7, "This will set the limit for the number of workers for a Product type to"},
    {0, 7, "the limit you provide"},
    {1, 0, "-AddRestriction <name>"},
    {0, 7, "Adds a restriction with the given name to limit normal user access"},
    {1, 0, "-RemoveRestriction <name>"},
    {0, 7, "Removes a restriction with the given name"},
    {1, 0, "-CopyFile <file>"},
    {0, 7, "Sends all of the options from an INI file to the Master"},
    {1, 0, "-PathTranslation <Windows-Root> <Linux-Root> <Mac-Root>"},
    {0, 7, "Adds a path translation with the given roots. You must supply a value for"},
    {0, 7, "each element in the translation set. If you don't need one of the elements"},
    {0, 7, "you should put a set of empty double quotes for that element"},
    {1, 0, "-RemovePathTranslation <Root>"},
    {0, 7, "Removes a path translation with the given root. You can pick any of the"},
    {0, 7, "platform roots. If a translation is found with the specified root, it will"},
    {0, 7, "be removed. If more than one translation is found with the specified root,"},
    {0, 7, "they will all be removed."},
    {3, 0, "You can manage products. Each of these flags can appear multiple times to allow you"},
    {0, 0, "to configure multiple products with a single operation."},
    {1, 0, "-ExportProduct"},
    {0, 7, "Supply a product name, alias, or ID, and a path to save the JSON file"},
    {1, 0, "-ImportProduct"},
    {0, 7, "Supply a path to a JSON file with the product info to install"},
    {1, 0, "-RemoveProduct"},
    {0, 7, "Supply a product name, alias, or ID to remove"},
    {0, 7, "Use this special UID to remove all customizatons and reload default products:"},
    {0, 15, "00000000-0000-0000-0000-000000000000"},
    {3, 0, "You can use Setwright to request a system-wide log dump for debugging"},
    {1, 0, "-DumpLogs"},
    {3, 0, "You can use Setwright to perform a system-wide shutdown"},
    {0, 0, "Note that Setwright always runs as an administrator, so you will not be"},
    {0, 0, "prompted for a password before the command is sent to the entire system."},
    {1, 0, "-SuperExit"},
    {3, 0, "You can also signal for just the master's machine to shutdown or reboot:"},
    {1, 0, "-Shutdown                    Shutdown the master's machine."},
    {1, 0, "-Reboot                      Reboot the master's machine."},
    {3, 0, "You can also add any common Brenic application commandline parameters:"},
    {1, 0, "-ConnectTimeout <float>      If no connection is established after the specified"},
    {0, 29, "number of seconds, the program will automatically"},
    {0, 29, "exit. (Default is 0.0 - never)"},
    {1, 0, "-LogDisplayLevel <int>       Debug logging display level: 0 - 6. (Default 0)"},
    {1, 0, "-LogFileLevel <int>          Debug logging file level: 0 - 6 (Default 5)"},
    {1, 0, "-LogFolder <logFolderBase>   Override machine log folder"},
    {1, 0, "-Master <address:port>       Override Master address and port"},
    {1, 0, "-MasterPort <port>           Override Master port only"},
};

} // namespace

void SetwrightApp::Usage() {
  _CallEntry entry("SetwrightApp::Usage", "Setwright", __LINE__);
  for (const HelpLine& line : k_Help) {
    for (int i = 0; i < line.m_EmptyLinesBefore; ++i)
      stdOut.PutEOL();
    stdOut.Put(std::string(static_cast<size_t>(line.m_Indent), ' ') + line.m_Text);
    stdOut.PutEOL();
  }
  stdOut.PutEOL();
}
