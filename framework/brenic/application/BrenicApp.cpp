#include "brenic/BrenicApp.h"

#include "rlib/Log.h"

namespace brenic {

void BrenicApp::OnStatistics(FILE* out) {
  std::fprintf(out, "Products: %zu\n", m_JobFactory.Products().size());
}

bool BrenicApp::IsMasterComponentProcess() const {
  return false;
}
bool BrenicApp::IsTheMaster() const {
  return false;
}
bool BrenicApp::IsAMirror() const {
  return false;
}
bool BrenicApp::IsAnEngine() const {
  return false;
}

shared_ptr<Job> BrenicApp::GetJobByID(const UID&) {
  return {};
}
shared_ptr<Engine> BrenicApp::GetEngineByID(const UID&) {
  return {};
}
String BrenicApp::GetJobParameter(const UID&, const String&) {
  return k_Empty;
}
rlib::map<String, String> BrenicApp::GetJobParameters(const UID&) {
  return {};
}
rlib::vector<shared_ptr<Job>> BrenicApp::GetAllJobs() {
  return {};
}
rlib::vector<shared_ptr<Engine>> BrenicApp::GetAllEngines() {
  return {};
}
UID BrenicApp::GetWorkParentID(const UID&) {
  return UID::Null;
}
String BrenicApp::GetPoolName(const UID&) {
  return k_Empty;
}

void BrenicApp::OnUnhandledMessage(const shared_ptr<Message>& message) {
  rlib::LogDebug(String("Nothing here takes a ") + message->ClassName());
}

String BrenicApp::OptionsFilename() {
  return k_Empty;
}
void BrenicApp::SaveUpgradeInfo(const String&) {}
bool BrenicApp::FinishUpgradeRestart(CommandLine&) {
  return false;
}

} // namespace brenic
