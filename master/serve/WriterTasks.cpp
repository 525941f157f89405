// What a writer does besides deciding requests.
#include "serve/DefaultProducts.h"
#include "serve/Writer.h"

namespace brenic::master {

void Writer::Do(std::function<void()> task) {
  {
    std::lock_guard lock(m_Mutex);
    m_Tasks.push_back(std::move(task));
  }
  m_Wake.notify_one();
}

void Writer::Perform(const char* what, std::function<void(Store& store)> task) {
  Do([this, what, task = std::move(task)] {
    TryToStore(what, [&] {
      try {
        m_Store->Begin();
        task(*m_Store);
        m_Store->Commit();
      } catch (const StoreFailure&) {
        m_Store->Rollback();
        throw;
      }
    });
  });
}

void Writer::Reload(MachineCommandLines commands, Path products,
                    std::function<void(const rlib::Result<>&)> done) {
  Do([this, commands = std::move(commands), products = std::move(products), done = std::move(done)] {
    const rlib::Result<> taken = TakeDefaults(products);
    if (taken) {
      m_Commands = commands;
      m_Products = products;
    }
    done(taken);
  });
}

rlib::Result<> Writer::TakeDefaults(const Path& folder) {
  if (folder.empty())
    return {};
  const auto files = DefaultProductFiles(folder);
  if (!files)
    return files.Why();
  try {
    if (!TakeDefaultProducts(*files, *m_Store, m_Farm, m_Run, m_Clock->Wall()))
      return {};
  } catch (const StoreFailure& failure) {
    if (failure.Which() == StoreFailure::Kind::k_Broken)
      throw;
    return rlib::Failure(String("The default products cannot be stored: ") + failure.what());
  }
  Publish(false, true);
  Batch batch;
  batch.m_Snapshot = m_Snapshot;
  batch.m_ProductsChanged = true;
  batch.m_ChangedProducts.reset();
  m_Deliver(std::move(batch));
  return {};
}

} // namespace brenic::master
