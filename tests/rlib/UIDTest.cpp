#include "rlib/UID.h"

#include <gtest/gtest.h>
#include <unordered_set>

using rlib::UID;

namespace {

const bool s_nullIsReadyEarly = UID(false) == UID::Null;

TEST(UID, NullIsAllZero) {
  EXPECT_TRUE(s_nullIsReadyEarly);
  EXPECT_TRUE(UID().IsNull());
  EXPECT_EQ(UID::Null.ToString(), "00000000-0000-0000-0000-000000000000");
}

TEST(UID, FreshOnesDiffer) {
  std::unordered_set<UID> set;
  for (int i = 0; i < 1000; ++i)
    set.insert(UID(true));
  EXPECT_EQ(set.size(), 1000u);
  EXPECT_FALSE(UID(true).IsNull());
}

TEST(UID, TextAndBytesComeBack) {
  UID uid;
  ASSERT_TRUE(uid.FromString("01234567-89AB-cdef-0123-456789abCDEF"));
  EXPECT_EQ(uid.ToString(), "01234567-89ab-cdef-0123-456789abcdef");
  EXPECT_EQ(uid.Bytes()[0], 0x01);
  EXPECT_EQ(uid.Bytes()[15], 0xef);
  EXPECT_EQ(UID(uid.Bytes()), uid);
}

TEST(UID, RefusesEveryOtherFormAndKeepsItsValue) {
  UID uid(true);
  const UID before = uid;
  for (const char* text : {"", "0123456789abcdef0123456789abcdef", "{01234567-89ab-cdef-0123-456789abcdef}",
                           "01234567-89ab-cdef-0123-456789abcde", "01234567-89ab-cdef-0123-456789abcdef0",
                           "01234567-89ab-cdef-0123-456789abcdeg", "01234567089ab-cdef-0123-456789abcdef",
                           " 1234567-89ab-cdef-0123-456789abcdef", "0123456-789ab-cdef-0123-456789abcdef"}) {
    EXPECT_FALSE(uid.FromString(text)) << text;
    EXPECT_EQ(uid, before);
  }
}

TEST(UID, OrdersByUnsignedBytes) {
  UID low;
  UID high;
  ASSERT_TRUE(low.FromString("7f000000-0000-0000-0000-0000000000ff"));
  ASSERT_TRUE(high.FromString("80000000-0000-0000-0000-000000000000"));
  EXPECT_LT(low, high);
}

} // namespace
