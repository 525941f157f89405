#pragma once

#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TempFolder.h"

/// Runs the body as a user without privileges, also where the tests run as root: then in a child process,
/// which shows its failures itself and makes the test fail. The folder (not what is in it) belongs to that
/// user from then on.
inline void AsOrdinaryUser(const TempFolder& folder, const std::function<void()>& body) {
  constexpr uid_t k_Nobody = 65534;
  if (geteuid() != 0)
    return body();
  ASSERT_EQ(chown(folder.Name().c_str(), k_Nobody, k_Nobody), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (setgroups(0, nullptr) != 0 || setresgid(k_Nobody, k_Nobody, k_Nobody) != 0 ||
        setresuid(k_Nobody, k_Nobody, k_Nobody) != 0)
      _exit(2);
    try {
      body();
    } catch (...) { // it must not get back to the tests that this child is not to run
      ADD_FAILURE() << "something was thrown";
    }
    fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "as an ordinary user";
}
