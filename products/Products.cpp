#include "SetwrightApp.h"

#include <memory>

#include "brenic/MessageFactory.h"
#include "rlib/CallEntry.h"
#include "rlib/File.h"
#include "rlib/Log.h"
#include "rlib/OutFile.h"
#include "rlib/Result.h"
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

Result<> Export(const String& text, Path file) {
  UID type(false);
  if (!JobFactory::s_JobFactory.FindType(text, type))
    return Failure("Product not installed: " + text);
  const auto product = JobFactory::s_JobFactory.GetProduct(type);
  if (!product)
    return Failure("Internal error: could not get product handle for product: " + text + " - " +
                   type.ToString());
  try {
    if (file.Extension(false).empty())
      file = Path(file.str() + ".json");
    Save(*product, file);
  } catch (Exception* e) {
    const std::unique_ptr<Exception> owned(e);
    return Failure(e->Message());
  }
  return {};
}

/// The product's text behind the switch at `index`, if at least `least` arguments are there.
Result<String> ProductArgument(const CommandLine& cmd, int index, int least) {
  if (index + least >= cmd.GetArgumentCount(nullptr))
    return Failure("Not enough arguments");
  const String product = cmd.GetArgument(nullptr, index + 1, String::Null);
  if (product.empty())
    return Failure("You must supply a product name");
  if (IsSwitch(product))
    return Failure("Not enough arguments");
  return product;
}

// What the three switches do with their values; each moves the position past those that it consumed.

Result<> ExportProduct(const CommandLine& cmd, int& index) {
  const Result<String> product = ProductArgument(cmd, index, 2);
  if (!product)
    return product.Why();
  index += 1;
  const Path file = cmd.GetArgument(nullptr, index + 1, String::Null);
  if (file.empty())
    // Odd for a file to be written, and deliberate: scripts were written against this text.
    return Failure("File does not exist: " + file.str());
  index += 1;
  return Export(*product, file);
}

Result<boost::shared_ptr<ProductMsg>> ImportProduct(const CommandLine& cmd, int& index) {
  // The test is on the switch's own position, so that at the end of the line the file's name is empty.
  // Deliberate: the text of the error depends on it, and scripts were written against that.
  if (index >= cmd.GetArgumentCount(nullptr))
    return Failure("Not enough arguments");
  const Path file = cmd.GetArgument(nullptr, index + 1, String::Null);
  if (IsSwitch(file.str()))
    return Failure("Not enough arguments");
  index += 1;
  if (!File::Exists(file))
    return Failure("Filename does not exist: " + file.str());
  const auto product = SLoadProductFile(file);
  if (!product)
    return Failure("Failed to load product file: " + file.str());
  const auto message = MessageFactory::Create<ProductMsg>();
  message->m_Product = product;
  return message;
}

Result<boost::shared_ptr<RemoveProductMsg>> RemoveProduct(const CommandLine& cmd, int& index) {
  const Result<String> product = ProductArgument(cmd, index, 1);
  if (!product)
    return product.Why();
  index += 1;
  UID type(false);
  if (!JobFactory::s_JobFactory.FindType(*product, type))
    return Failure("Product not installed: " + *product);
  const auto message = MessageFactory::Create<RemoveProductMsg>();
  message->m_ProductType = type;
  return message;
}

} // namespace

bool SetwrightApp::PrepareExport(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::PrepareExport", "Setwright", __LINE__);
  if (const auto exported = ExportProduct(cmd, index); !exported)
    ReportProductError("Could not export product: ", exported.Reason());
  return true;
}

bool SetwrightApp::PrepareImport(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::PrepareImport", "Setwright", __LINE__);
  if (const auto message = ImportProduct(cmd, index))
    m_ProductMsgs.push_back(*message);
  else
    ReportProductError("Could not import product: ", message.Reason());
  return true;
}

bool SetwrightApp::PrepareRemove(CommandLine& cmd, int& index) {
  _CallEntry entry("SetwrightApp::PrepareRemove", "Setwright", __LINE__);
  if (const auto message = RemoveProduct(cmd, index))
    m_ProductMsgs.push_back(*message);
  else
    // Deliberately the export's wording: scripts were written against it.
    ReportProductError("Could not export product: ", message.Reason());
  return true;
}

void SetwrightApp::ReportProductError(const char* what, const String& error) {
  stdOut.Put(what + error);
  stdOut.PutEOL();
  LogError(what + error);
  m_ExitCode = k_ExitFailed;
}
