// What a call writes to standard output, seen from the other end of a pipe.
#pragma once

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include "rlib/CallEntry.h"
#include "scripted/Recorder.h"

namespace scripted {

struct Writes {
  /// Each write by itself; one of more than PIPE_BUF bytes comes in pieces of that size.
  std::vector<std::string> m_Texts;
  /// The calls that were open behind the first of at least three.
  std::string m_OpenCalls;
};

/// What the call writes to standard output, which the recorder does not see.
template <typename Call>
Writes WritesOf(Recorder& recorder, Call call) {
  // The pipe has room for one write, so that the call cannot end while there are two more to be read.
  int ends[2];
  if (pipe2(ends, O_DIRECT | O_CLOEXEC) != 0 || fcntl(ends[1], F_SETPIPE_SZ, PIPE_BUF) != PIPE_BUF)
    throw std::system_error(errno, std::generic_category(), "a pipe of separate writes");
  std::fflush(stdout);
  const int output = dup(STDOUT_FILENO);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  rlib::stdOut.Capture(nullptr);

  Writes writes;
  std::thread reader([&] {
    char text[PIPE_BUF];
    for (ssize_t size; (size = read(ends[0], text, sizeof(text))) > 0;) {
      if (writes.m_Texts.empty())
        writes.m_OpenCalls = rlib::OpenCallEntries().str();
      writes.m_Texts.emplace_back(text, static_cast<size_t>(size));
    }
  });
  call();
  rlib::stdOut.Capture(&recorder.m_Out);
  dup2(output, STDOUT_FILENO);
  close(output);
  reader.join();
  close(ends[0]);
  return writes;
}

} // namespace scripted
