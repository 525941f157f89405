#include "wire/Frames.h"

#include <gtest/gtest.h>

#include "Hex.h"

namespace brenic::wire {
namespace {

Frame Goodbye(const std::string& text) {
  Frame frame;
  frame.mutable_goodbye()->set_text(text);
  return frame;
}

/// Texts of all whole frames that the reader has now.
std::vector<std::string> Texts(FrameReader& reader) {
  std::vector<std::string> texts;
  while (const auto frame = reader.Next())
    texts.push_back(frame->goodbye().text());
  return texts;
}

TEST(Frames, LengthIsFourBytesWithTheHighestFirst) {
  EXPECT_EQ(ToHex(Encode(Frame())), "00000000");
  const std::string bytes = Encode(Goodbye(std::string(70000, 'x')));
  ASSERT_EQ(bytes.size(), 70008u + 4);
  EXPECT_EQ(ToHex(bytes.substr(0, 4)), "00011178"); // 70008
}

TEST(Frames, NothingFedGivesNothing) {
  FrameReader reader;
  EXPECT_FALSE(reader.Next());
  reader.Feed("");
  EXPECT_FALSE(reader.Next());
}

TEST(Frames, AFrameComesOutWithItsLastByteAndNotBefore) {
  FrameReader reader;
  const std::string bytes = Encode(Goodbye("hello"));
  for (size_t i = 0; i < bytes.size(); ++i) {
    ASSERT_FALSE(reader.Next()) << i;
    reader.Feed(bytes.substr(i, 1));
  }
  const auto frame = reader.Next();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->goodbye().text(), "hello");
  EXPECT_FALSE(reader.Next());
}

TEST(Frames, AStreamCutAnywhereGivesTheSameFrames) {
  std::string stream;
  std::vector<std::string> expected;
  for (int i = 0; i < 20; ++i) {
    expected.push_back(std::string(static_cast<size_t>(i * i), 'a'));
    stream += Encode(Goodbye(expected.back()));
  }
  for (size_t piece = 1; piece <= stream.size(); ++piece) {
    FrameReader reader;
    std::vector<std::string> texts;
    for (size_t at = 0; at < stream.size(); at += piece) {
      reader.Feed(stream.substr(at, piece));
      for (std::string& text : Texts(reader))
        texts.push_back(std::move(text));
    }
    ASSERT_EQ(texts, expected) << "pieces of " << piece;
  }
}

TEST(Frames, SeveralFedAtOnceComeOutInOrder) {
  FrameReader reader;
  reader.Feed(Encode(Goodbye("1")) + Encode(Goodbye("2")));
  reader.Feed(Encode(Goodbye("3")));
  EXPECT_EQ(Texts(reader), (std::vector<std::string>{"1", "2", "3"}));
}

TEST(Frames, AnEmptyFrameHasNoBody) {
  FrameReader reader;
  reader.Feed(std::string(4, '\0'));
  const auto frame = reader.Next();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->body_case(), Frame::BODY_NOT_SET);
}

TEST(Frames, AnUnknownBodyIsReadAsNone) {
  FrameReader reader;
  reader.Feed(FromHex("00000003") + FromHex("7a0141")); // field 15
  reader.Feed(Encode(Goodbye("next")));
  auto frame = reader.Next();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->body_case(), Frame::BODY_NOT_SET);
  frame = reader.Next();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->goodbye().text(), "next");
}

TEST(Frames, BeforeTheWelcome64KiBAreTakenAndNotOneByteMore) {
  // The text's own field and the frame's body cost 4 bytes each.
  const Frame largest = Goodbye(std::string(k_MaxFrameBeforeWelcome - 8, 'x'));
  ASSERT_EQ(largest.ByteSizeLong(), k_MaxFrameBeforeWelcome);
  FrameReader reader;
  reader.Feed(Encode(largest));
  EXPECT_TRUE(reader.Next());
  reader.Feed(Encode(Goodbye(std::string(k_MaxFrameBeforeWelcome - 7, 'x'))));
  EXPECT_THROW((void)reader.Next(), Malformed);
}

TEST(Frames, AnOversizedLengthIsRefusedBeforeItsFrameArrives) {
  for (const char* length : {"00010001", "7fffffff", "80000000", "ffffffff"}) {
    FrameReader reader;
    reader.Feed(FromHex(length));
    EXPECT_THROW((void)reader.Next(), Malformed) << length;
  }
}

TEST(Frames, TheLimitCanBeRaised) {
  FrameReader reader;
  reader.SetLimit(k_MaxFrame);
  reader.Feed(FromHex("04000000"));
  EXPECT_FALSE(reader.Next()); // 64 MiB are awaited
  FrameReader other;
  other.SetLimit(k_MaxFrame);
  other.Feed(FromHex("04000001"));
  EXPECT_THROW((void)other.Next(), Malformed);
}

TEST(Frames, WhatIsNoMessageIsMalformed) {
  for (const char* body : {"ff", "0a", "0a05", "0a020801ff", "1a0180", "07"}) {
    FrameReader reader;
    const std::string bytes = FromHex(body);
    reader.Feed(std::string(3, '\0') + static_cast<char>(bytes.size()) + bytes);
    EXPECT_THROW((void)reader.Next(), Malformed) << body;
  }
}

TEST(Frames, TheRoomOfALongFrameIsGivenBackOnceItIsDealtWith) {
  FrameReader reader;
  reader.SetLimit(k_MaxFrame);
  reader.Feed(Encode(Goodbye(std::string(10 * FrameReader::k_KeptRoom, 'x'))));
  ASSERT_TRUE(reader.Next());
  EXPECT_GT(reader.Bytes().size(), 10 * FrameReader::k_KeptRoom);
  EXPECT_FALSE(reader.Next());
  EXPECT_LE(reader.Room(), FrameReader::k_KeptRoom);
}

TEST(Frames, EntriesOfAllListsCount) {
  Frame options, names, limits, restrictions, translations, product, products;
  for (int i = 0; i < 3; ++i) {
    options.mutable_message()->mutable_set_master_options()->add_options()->set_name("a");
    names.mutable_message()->mutable_get_master_options()->add_option_names();
    limits.mutable_message()->mutable_set_master_limits()->add_limits();
    restrictions.mutable_message()->mutable_set_master_restrictions()->add_restrictions();
    auto& translation = *translations.mutable_message()->mutable_path_translations()->add_translations();
    translation.add_roots();
    translation.add_roots();
    product.mutable_message()->mutable_product()->add_aliases("b");
    products.mutable_products()->add_products()->add_aliases("c");
  }
  for (const Frame* frame : {&options, &names, &limits, &restrictions, &product})
    EXPECT_EQ(CountEntries(frame->SerializeAsString()), 3u) << frame->SerializeAsString();
  EXPECT_EQ(CountEntries(translations.SerializeAsString()), 9u);
  EXPECT_EQ(CountEntries(products.SerializeAsString()), 6u);
  // One behind the other, or each in a field of its own.
  EXPECT_EQ(CountEntries(FromHex("3a08da01050a0307ac02")), 2u);
  EXPECT_EQ(CountEntries(FromHex("3a08da0105080708ac02")), 2u);
  // In several pieces, which a decoder puts together.
  EXPECT_EQ(CountEntries(names.SerializeAsString() + names.SerializeAsString()), 6u);
  EXPECT_EQ(CountEntries("\x3a\xff"), 0u);
}

TEST(Frames, ALongFrameOfManyMoreEntriesThanBytesNeedIsMalformed) {
  const auto namesIn = [](size_t count) {
    Frame frame;
    for (size_t i = 0; i < count; ++i)
      frame.mutable_message()->mutable_get_master_options()->add_option_names();
    return Encode(frame);
  };
  FrameReader reader;
  reader.SetLimit(k_MaxFrame);
  reader.Feed(namesIn(k_MaxEntries));
  EXPECT_TRUE(reader.Next());
  reader.Feed(namesIn(k_MaxEntries + 1));
  EXPECT_THROW((void)reader.Next(), Malformed);
}

TEST(Frames, TheReasonNamesTheLengths) {
  FrameReader reader;
  reader.SetLimit(10);
  reader.Feed(FromHex("0000000b"));
  try {
    (void)reader.Next();
    ADD_FAILURE();
  } catch (const Malformed& e) {
    EXPECT_STREQ(e.what(), "a frame of 11 bytes, where 10 are allowed");
  }
}

} // namespace
} // namespace brenic::wire
