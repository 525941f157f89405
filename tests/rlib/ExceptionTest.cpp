#include "rlib/Exception.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <memory>

namespace {

struct OwnException : rlib::Exception {
  OwnException() : Exception("own") {}
  rlib::String Name() const override { return "OwnException"; }
};

TEST(Exception, IsThrownAsAPointerWithItsMessage) {
  try {
    rlib::ThrowError("Cannot write 'x'", ENOSPC);
    FAIL();
  } catch (rlib::Exception* e) {
    const std::unique_ptr<rlib::Exception> owner(e);
    EXPECT_EQ(e->Message(), "Cannot write 'x': No space left on device");
    EXPECT_EQ(e->Name(), "Exception");
  }
}

TEST(Exception, SubclassesAreCaughtAndHaveTheirOwnName) {
  try {
    throw new OwnException;
  } catch (rlib::Exception* e) {
    const std::unique_ptr<rlib::Exception> owner(e);
    EXPECT_EQ(e->Name(), "OwnException");
    EXPECT_EQ(e->Message(), "own");
  }
}

} // namespace
