#include "serve/DefaultProducts.h"

#include <algorithm>
#include <filesystem>
#include <unordered_map>

#include <fmt/core.h>

#include "farm/ProductCheck.h"
#include "products/ProductDocument.h"
#include "products/ProductFile.h"
#include "rlib/Log.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

/// Product files, most of which hold what the store holds from an earlier start, and was checked then.
class KnownDocuments {
public:
  explicit KnownDocuments(const ProductMap& products) {
    for (const auto& entry : products)
      m_Products.emplace(entry.second->Document(), entry.second);
  }

  /// Fails when the file does not hold a product.
  rlib::Result<shared_ptr<const Product>> Load(const Path& file) const {
    const rlib::Result<std::string> document = ReadProductFile(file);
    if (!document)
      return document.Why();
    if (const auto known = m_Products.find(*document); known != m_Products.end())
      return known->second;
    const auto product = ParseProduct(*document);
    if (!product)
      return product.Why();
    return *product;
  }

private:
  std::unordered_map<std::string_view, shared_ptr<const Product>> m_Products; // by document
};

/// What the Master did of itself.
AuditRecord OwnRecord(std::shared_ptr<const Change> change, const std::string& run, int64_t now) {
  const Peer master = Peer::TheMaster();
  AuditRecord record;
  record.m_Time = now;
  record.m_ClientKey = master.m_Key;
  record.m_ClientName = master.m_Name;
  record.m_Role = master.m_Role;
  record.m_MessageId = UID(true);
  record.m_Class = k_DefaultProductsClass;
  record.m_Digest = Sha256({});
  record.m_Change = std::move(change);
  record.m_Result = "committed";
  record.m_Run = run;
  return record;
}

} // namespace

rlib::Result<std::vector<Path>> DefaultProductFiles(const Path& folder) {
  namespace fs = std::filesystem;
  std::error_code error;
  std::vector<fs::path> found;
  for (fs::directory_iterator entry(folder.str().str(), error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (entry->path().extension() == ".json")
      found.push_back(entry->path());
  }
  if (error)
    return rlib::Failure(
        fmt::format("Cannot read the folder of products '{}': {}", folder.str().str(), error.message()));
  std::sort(found.begin(), found.end());
  std::vector<Path> files;
  for (const fs::path& file : found)
    files.emplace_back(file.string());
  return files;
}

ProductMap LoadDefaultProducts(const std::vector<Path>& files, const ProductMap& earlier) {
  const KnownDocuments known(earlier);
  ProductCatalogue products;
  const auto leaveOut = [](const Path& file, const String& why) {
    rlib::LogWarning(fmt::format("Left out the product of '{}': {}", file.str().str(), why.str()));
  };
  for (const Path& file : files) {
    const auto loaded = known.Load(file);
    if (!loaded) {
      leaveOut(file, loaded.Reason());
      continue;
    }
    const shared_ptr<const Product>& product = *loaded;
    const rlib::Result<> fits = products.IsDefault(product->Type())
                                    ? rlib::Failure("another file has the same identifier")
                                    : CheckNames(products, *product);
    if (!fits) {
      leaveOut(file, fits.Reason());
      continue;
    }
    products.AddDefault(product);
    // Taken all the same: a farm is not to lose a product that it has had.
    const auto held = earlier.find(product->Type());
    const bool isKnown = held != earlier.end() && held->second->Document() == product->Document();
    if (const auto traps = isKnown ? rlib::Result<>() : CheckTraps(*product, nullptr); !traps)
      rlib::LogWarning(fmt::format("The product of '{}' is taken, but could not be imported: {}",
                                   file.str().str(), traps.Reason().str()));
  }
  return products.Defaults();
}

bool TakeDefaultProducts(const std::vector<Path>& files, Store& store, Farm& farm, const std::string& run,
                         int64_t now) {
  const ProductMap& earlier = farm.m_Products.Defaults();
  auto change = std::make_shared<Change>();
  AddDefaults(farm, LoadDefaultProducts(files, earlier), *change);
  if (change->IsEmpty())
    return false;
  store.Begin();
  try {
    const bool isFirst = earlier.empty() && store.SequenceRange().m_Newest == 0;
    store.Apply(*change);
    if (!isFirst)
      store.Record(OwnRecord(change, run, now));
    store.Commit();
  } catch (const StoreFailure&) {
    store.Rollback();
    throw;
  }
  farm.Take(*change);
  return true;
}

} // namespace brenic::master
