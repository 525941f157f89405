// An application of the render farm. Most of what it can be asked concerns processes that hold jobs and
// engines; a client holds none, and the answers here say so.
#pragma once

#include <cstdio>

#include "brenic/Application.h"
#include "brenic/JobFactory.h"
#include "brenic/Message.h"

namespace brenic {

class Job;
class Engine;

class BrenicApp : public Application {
public:
  virtual void OnStatistics(FILE* out);

  virtual bool IsMasterComponentProcess() const;
  virtual bool IsTheMaster() const;
  virtual bool IsAMirror() const;
  virtual bool IsAnEngine() const;

  virtual shared_ptr<Job> GetJobByID(const UID& id);
  virtual shared_ptr<Engine> GetEngineByID(const UID& id);
  virtual String GetJobParameter(const UID& job, const String& name);
  virtual rlib::map<String, String> GetJobParameters(const UID& job);
  virtual rlib::vector<shared_ptr<Job>> GetAllJobs();
  virtual rlib::vector<shared_ptr<Engine>> GetAllEngines();
  virtual UID GetWorkParentID(const UID& work);
  virtual String GetPoolName(const UID& pool);

  /// Receives every message that no slot takes. Main thread.
  virtual void OnUnhandledMessage(const shared_ptr<Message>& message);
  virtual String OptionsFilename();
  virtual void SaveUpgradeInfo(const String& info);
  virtual bool FinishUpgradeRestart(CommandLine& cmd);

protected:
  BrenicApp() : m_JobFactory(JobFactory::s_JobFactory) {}

  JobFactory& m_JobFactory; // the process-wide registry
};

} // namespace brenic
