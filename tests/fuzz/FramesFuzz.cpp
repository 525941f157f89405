#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "wire/Contents.h"

using namespace brenic;

namespace {

std::vector<std::string> Frames(std::string_view bytes, size_t piece, bool& malformed) {
  std::vector<std::string> frames;
  wire::FrameReader reader;
  try {
    for (size_t at = 0; at < bytes.size(); at += piece) {
      reader.Feed(bytes.substr(at, piece));
      while (const auto frame = reader.Next())
        frames.push_back(wire::Encode(*frame));
    }
  } catch (const wire::Malformed&) {
    malformed = true;
  }
  return frames;
}

} // namespace

// Frames do not depend on how the bytes are cut, and every message that can be read can be written and read
// again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  bool malformed = false;
  bool malformedInPieces = false;
  const auto frames = Frames(bytes, size + 1, malformed);
  if (frames != Frames(bytes, 3, malformedInPieces) || malformed != malformedInPieces)
    std::abort();

  for (const std::string& encoded : frames) {
    wire::FrameReader reader;
    reader.Feed(encoded);
    auto frame = reader.Next();
    if (!frame || wire::Encode(*frame) != encoded)
      std::abort();
    try {
      for (const wire::Product& product : frame->products().products())
        wire::FromWire(product);
      if (!frame->has_message())
        continue;
      const auto message = wire::FromWire(*frame->mutable_message());
      if (!message)
        continue;
      wire::Envelope first, second;
      wire::ToWire(*message, first);
      const std::string written = first.SerializeAsString();
      const auto again = wire::FromWire(first);
      wire::ToWire(*again, second);
      if (again->m_ID != message->m_ID || second.SerializeAsString() != written)
        std::abort();
    } catch (const wire::Malformed&) {
    }
  }
  return 0;
}
