#include "SetwrightApp.h"

#include <memory>

#include "brenic/MessageFactory.h"
#include "rlib/CallEntry.h"
#include "rlib/File.h"
#include "rlib/Log.h"
#include "rlib/OutFile.h"
#include "rlib/Stream.h"

using namespace brenic;
using namespace rlib;

namespace {

bool IsSwitch(const String& text) {
  return !text.empty() && text.c_str()[0] == '-';
}

void Save(const Product& product, const Path& file) {
  OutFile out(file, OutFile::k_Write | OutFile::k_Create | OutFile::k_Truncate, false, false, -1);
  out.Put(SSaveProduct(product, false));
  out.Close(false);
}

/// The error, empty when the product was saved.
String Export(const String& text, Path file) {
  UID type(false);
  if (!JobFactory::s_JobFactory.FindType(text, type))
    return "Product not installed: " + text;
  const auto product = JobFactory::s_JobFactory.GetProduct(type);
  if (!product)
    return "Internal error: could not get product handle for product: " + text + " - " + type.ToString();
  if (file.Extension(false).empty())
    file = Path(file.str() + ".json");
  try {
    Save(*product, file);
  } catch (Exception* e) {
    const std::unique_ptr<Exception> owned(e);
    return e->Message();
  }
  return k_Empty;
}

} // namespace

bool SetwrightApp::PrepareExport(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::PrepareExport", "Setwright", __LINE__);
  String error;
  if (index + 2 >= cmd.GetArgumentCount(nullptr)) {
    error = "Not enough arguments";
  } else if (const String product = cmd.GetArgument(nullptr, index + 1, String::Null); product.empty()) {
    error = "You must supply a product name";
  } else if (IsSwitch(product)) {
    error = "Not enough arguments";
  } else {
    index += 1;
    const Path file = cmd.GetArgument(nullptr, index + 1, String::Null);
    if (file.empty()) {
      error = "File does not exist: " + file.str(); // odd for a file to be written; deliberately so
    } else {
      index += 1;
      error = Export(product, file);
    }
  }
  ReportProductError("Could not export product: ", error);
  return true;
}

bool SetwrightApp::PrepareImport(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::PrepareImport", "Setwright", __LINE__);
  String error;
  // The test is on the switch's own position; deliberately so. At the end of the line the file's name is
  // empty.
  if (index >= cmd.GetArgumentCount(nullptr)) {
    error = "Not enough arguments";
  } else if (const Path file = cmd.GetArgument(nullptr, index + 1, String::Null); IsSwitch(file.str())) {
    error = "Not enough arguments";
  } else {
    index += 1;
    if (!File::Exists(file)) {
      error = "Filename does not exist: " + file.str();
    } else if (const auto product = SLoadProductFile(file); !product) {
      error = "Failed to load product file: " + file.str();
    } else {
      const auto message = MessageFactory::Create<ProductMsg>();
      message->m_Product = product;
      m_ProductMsgs.push_back(message);
    }
  }
  ReportProductError("Could not import product: ", error);
  return true;
}

bool SetwrightApp::PrepareRemove(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::PrepareRemove", "Setwright", __LINE__);
  String error;
  if (index + 1 >= cmd.GetArgumentCount(nullptr)) {
    error = "Not enough arguments";
  } else if (const String product = cmd.GetArgument(nullptr, index + 1, String::Null); product.empty()) {
    error = "You must supply a product name";
  } else if (IsSwitch(product)) {
    error = "Not enough arguments";
  } else {
    index += 1;
    UID type(false);
    if (JobFactory::s_JobFactory.FindType(product, type)) {
      const auto message = MessageFactory::Create<RemoveProductMsg>();
      message->m_ProductType = type;
      m_ProductMsgs.push_back(message);
    } else {
      error = "Product not installed: " + product;
    }
  }
  ReportProductError("Could not export product: ", error); // the export's wording; deliberately so
  return true;
}

void SetwrightApp::ReportProductError(const char* what, const String& error) {
  if (error.empty())
    return;
  stdOut.Put(what + error);
  stdOut.PutEOL();
  LogError(what + error);
  m_ExitCode = k_ExitFailed;
}
