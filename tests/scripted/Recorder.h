// Log lines, standard output and standard error of one test.
#pragma once

#include <string>
#include <vector>

#include "rlib/Failures.h"
#include "rlib/Log.h"
#include "rlib/Stream.h"
#include "scripted/Script.h"

namespace scripted {

/// While it lives, output is captured and log lines are kept; the script is a fresh one from its start. Lines
/// stand as "SYSTEM text", also among the script's events.
class Recorder {
public:
  Recorder() {
    TheScript() = Script();
    rlib::ResetNotedFailures();
    rlib::stdOut.Close(true);
    rlib::stdErr.Close(true);
    rlib::stdOut.Capture(&m_Out);
    rlib::stdErr.Capture(&m_Err);
    rlib::Log::SetObserver([this](int level, const rlib::String& text) {
      static constexpr const char* k_Names[] = {"NOTHING", "ERROR", "WARNING", "SYSTEM",
                                                "INFO",    "DEBUG", "TRACE"};
      m_Log.push_back(k_Names[level] + (" " + text.str()));
      m_WrittenAtLastLine = m_Out + m_Err;
      TheScript().m_Events.push_back(m_Log.back());
    });
  }
  ~Recorder() {
    rlib::Log::SetObserver({});
    rlib::stdOut.Capture(nullptr);
    rlib::stdErr.Capture(nullptr);
    rlib::ResetNotedFailures();
    TheScript() = Script();
  }
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  std::vector<std::string> m_Log;
  std::string m_Out;
  std::string m_Err;
  std::string m_WrittenAtLastLine; // what stood on both streams when the last log line was written
};

} // namespace scripted
