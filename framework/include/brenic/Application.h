// The root of every Brenic program's application class. A program has one global object of a class that
// derives from it; the framework's entry point finds and drives that object.
#pragma once

#include "brenic/CommandLine.h"

namespace brenic {

class Application {
public:
  Application();
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  virtual ~Application();

  // The order of the virtual operations, here and in the derived classes, is part of the framework's binary
  // interface.

  /// Called once, before the loop. False ends the run.
  virtual bool Startup(CommandLine& cmd) = 0;
  /// Called over and over while it returns non-zero.
  virtual int Execute() = 0;
  /// Called once, after the loop.
  virtual void Cleanup() = 0;
  /// Called with an exception that reached the framework, or with null for one of unknown kind. True when it
  /// is dealt with and the run goes on.
  virtual bool OnException(Exception* e) = 0;
  /// Chooses the log folder: "-LogFolder", else the usual one of the runtime's log.
  virtual void SetLogDir(CommandLine& cmd);

  /// The program's application object; null when there is none.
  static Application* Instance();

  /// The program's own name: the last component of its path.
  const String& ProgramName() const { return m_ProgramName; }
  void SetProgramName(const String& name) { m_ProgramName = name; }

protected:
  String m_ProgramName;
  Path m_LogFolder;
};

} // namespace brenic
