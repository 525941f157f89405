#include <gtest/gtest.h>

#include "Hex.h"
#include "brenic/ProductMessages.h"
#include "brenic/SettingsMessages.h"
#include "wire/Contents.h"

using namespace brenic;

namespace {

const std::string k_MessageId(16, 'i');

wire::Envelope Asking(const std::string& name) {
  wire::Envelope envelope;
  envelope.set_id(k_MessageId);
  envelope.mutable_get_master_options()->add_option_names(name);
  return envelope;
}

/// A field of bytes, the number below 16.
std::string Field(int number, const std::string& bytes) {
  std::string field(1, static_cast<char>(number << 3 | 2));
  for (size_t size = bytes.size();; size >>= 7) {
    field += static_cast<char>(size < 128 ? size : (size & 127) | 128);
    if (size < 128)
      return field + bytes;
  }
}

std::string Framed(const std::string& bytes) {
  std::string frame(wire::k_LengthBytes, '\0');
  for (size_t i = 0; i < frame.size(); ++i)
    frame[i] = static_cast<char>(bytes.size() >> (8 * (frame.size() - 1 - i)));
  return frame + bytes;
}

/// What a reader makes of an encoded frame, as bytes again; empty for no message.
std::string Understood(const std::string& frame) {
  wire::FrameReader reader;
  reader.SetLimit(wire::k_MaxFrame);
  reader.Feed(Framed(frame));
  const auto read = reader.Next();
  EXPECT_TRUE(read);
  return read && read->has_message() ? read->message().SerializeAsString() : "";
}

/// The same bytes, decoded and encoded again.
std::string Canonical(const std::string& bytes) {
  wire::Envelope envelope;
  EXPECT_TRUE(envelope.ParseFromString(bytes));
  return envelope.SerializeAsString();
}

TEST(MessageBytes, AreThoseOfTheMessageInAFrame) {
  for (const size_t size : {0, 1, 100, 127, 128, 70'000}) {
    wire::Frame frame;
    *frame.mutable_message() = Asking(std::string(size, 'x'));
    const std::string bytes = wire::Encode(frame).substr(wire::k_LengthBytes);
    EXPECT_EQ(wire::MessageBytes(bytes), frame.message().SerializeAsString()) << size;
  }
}

TEST(MessageBytes, AreThoseThatCameAndNotThoseOfAnEncoderOfItsOwn) {
  // The contents before the identifier, an unknown field, and a length of one byte more than it needs.
  const std::string envelope = FromHex("8a01030a0161") + Field(9, "new") + Field(1, k_MessageId);
  const std::string length(1, static_cast<char>(envelope.size() | 128));
  EXPECT_EQ(wire::MessageBytes("\x3a" + length + std::string(1, '\0') + envelope), envelope);
  EXPECT_NE(Canonical(envelope), envelope);
}

TEST(MessageBytes, AreFoundBetweenFieldsThatAreNotKnown) {
  const std::string envelope = Asking("a").SerializeAsString();
  const std::string number = FromHex("7801"), fixed32 = FromHex("7d01020304"),
                    fixed64 = FromHex("790102030405060708"), group = FromHex("7b3a00100a7c");
  for (const std::string& other : {Field(15, "new"), Field(14, ""), number, fixed32, fixed64, group}) {
    EXPECT_EQ(wire::MessageBytes(other + Field(7, envelope)), envelope) << ToHex(other);
    EXPECT_EQ(wire::MessageBytes(Field(7, envelope) + other), envelope) << ToHex(other);
    EXPECT_EQ(Understood(other + Field(7, envelope) + other), envelope) << ToHex(other);
  }
}

TEST(MessageBytes, OfAMessageInPiecesAreThePiecesOneBehindTheOther) {
  const std::string id = Field(1, k_MessageId), contents = FromHex("8a01030a0161"),
                    more = FromHex("8a01030a0162");
  const std::string frame = Field(7, id + contents) + Field(15, "new") + Field(7, "") + Field(7, more);
  EXPECT_EQ(wire::MessageBytes(frame), id + contents + more);
  EXPECT_EQ(Understood(frame), Canonical(id + contents + more));
  EXPECT_EQ(wire::MessageBytes(Field(7, "") + Field(7, id)), id);
}

TEST(MessageBytes, OfAPieceWithOtherContentsMeanTheLastOnes) {
  const std::string first = Field(1, k_MessageId) + FromHex("8a01030a0161"), second = FromHex("c20100");
  const std::string frame = Field(7, first) + Field(7, second);
  EXPECT_EQ(wire::MessageBytes(frame), first + second);
  EXPECT_EQ(Understood(frame), Canonical(first + second));
}

TEST(MessageBytes, OfAMessageThatAnotherBodyTookThePlaceOfAreNotThere) {
  const std::string first = Asking("a").SerializeAsString(), second = Asking("b").SerializeAsString();
  const std::string ping = Field(3, "");
  EXPECT_EQ(Understood(Field(7, first) + ping + Field(7, second)), second);
  EXPECT_EQ(wire::MessageBytes(Field(7, first) + ping + Field(7, second)), second);
  EXPECT_EQ(Understood(Field(7, first) + ping), "");
  EXPECT_EQ(wire::MessageBytes(Field(7, first) + ping), "");
}

TEST(MessageBytes, AreNoneWithoutAMessage) {
  EXPECT_EQ(wire::MessageBytes(""), "");
  wire::Frame frame;
  frame.mutable_ping();
  EXPECT_EQ(wire::MessageBytes(frame.SerializeAsString()), "");
  frame.mutable_answer()->set_id(k_MessageId);
  EXPECT_EQ(wire::MessageBytes(frame.SerializeAsString()), "");
  EXPECT_EQ(wire::MessageBytes(Field(7, "")), "");
  EXPECT_EQ(wire::MessageBytes(FromHex("3805")), "") << "the number of the message with a number in it";
}

TEST(MessageBytes, OfWhatIsNoFrameDoNoHarm) {
  const std::string frame = Field(15, "new") + Field(7, Asking("abc").SerializeAsString()) + FromHex("7801");
  for (size_t size = 0; size != frame.size(); ++size)
    (void)wire::MessageBytes(frame.substr(0, size));
  for (const char* hex : {"3affffffff0f", "3affffffff07", "3a80", "00", "ff", "07", "3b", "3c"})
    EXPECT_EQ(wire::MessageBytes(FromHex(hex)), "") << hex;
}

TEST(FrameReader, GivesTheBytesOfTheLastFrame) {
  const std::string first = Field(15, "odd") + Field(7, Asking("a").SerializeAsString()), second,
                    third = Field(7, Asking("b").SerializeAsString());
  wire::FrameReader reader;
  EXPECT_EQ(reader.Bytes(), "");
  const std::string stream = Framed(first) + Framed(second) + Framed(third);
  reader.Feed(stream.substr(0, stream.size() - 1));
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.Bytes(), first);
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.Bytes(), second);
  ASSERT_FALSE(reader.Next());
  reader.Feed(stream.substr(stream.size() - 1) + Framed(first));
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.Bytes(), third);
  ASSERT_TRUE(reader.Next());
  EXPECT_EQ(reader.Bytes(), first);
}

TEST(FrameReader, GivesTheBytesHoweverTheStreamIsCut) {
  std::string stream;
  std::vector<std::string> frames;
  for (size_t i = 0; i != 12; ++i) {
    frames.push_back(Field(7, Asking(std::string(i * i, 'x')).SerializeAsString()));
    stream += Framed(frames.back());
  }
  for (size_t piece = 1; piece <= stream.size(); ++piece) {
    wire::FrameReader reader;
    std::vector<std::string> found;
    for (size_t at = 0; at < stream.size(); at += piece) {
      reader.Feed(stream.substr(at, piece));
      while (reader.Next())
        found.emplace_back(reader.Bytes());
    }
    ASSERT_EQ(found, frames) << "pieces of " << piece;
  }
}

} // namespace
