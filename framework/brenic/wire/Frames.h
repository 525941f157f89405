// Frames on a byte stream: a 4-byte big-endian length, then a protobuf Frame.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brenic/Types.h"
#include "wire/brenic.pb.h"

namespace brenic::wire {

inline constexpr uint32_t k_ProtocolVersion = 1;
inline constexpr size_t k_LengthBytes = 4;
inline constexpr size_t k_MaxFrameBeforeWelcome = 64 * 1024;  // bytes, without the length
inline constexpr size_t k_MaxFrame = 64 * 1024 * 1024;        // bytes, without the length
inline constexpr size_t k_MaxTranslations = 48 * 1024 * 1024; // bytes of an encoded list
inline constexpr size_t k_MaxEntries = 1024 * 1024;           // of all lists in a frame, inner ones included

/// The frame with its length in front.
std::string Encode(const Frame& frame);

/// The message of an encoded frame (without its length) in the bytes in which it came; empty when there is
/// none.
std::string MessageBytes(std::string_view frame);

/// How many entries the lists of an encoded frame (without its length) have together, inner ones included.
/// What they take once they are decoded is not bounded by the frame's size: an empty entry has two bytes.
size_t CountEntries(std::string_view frame);

/// What makes a frame with a request too large to be sent; nothing when it is not.
std::optional<String> Excess(const Frame& frame);

/// Cuts a byte stream into frames. Not thread-safe.
class FrameReader {
public:
  /// Room that it keeps for what comes, in bytes; that of a longer frame is given back.
  static constexpr size_t k_KeptRoom = 256 * 1024;

  /// Frames longer than this are malformed, and so is one of more than k_MaxEntries entries.
  void SetLimit(size_t bytes) { m_Limit = bytes; }

  void Feed(std::string_view bytes);

  /// The next whole frame, or none yet. Throws Malformed when the stream cannot be read on.
  std::optional<Frame> Next();
  /// The bytes of that frame; valid until Feed or Next is called again.
  std::string_view Bytes() const { return std::string_view(m_Buffer).substr(m_Begin, m_Read - m_Begin); }

  /// Bytes of memory that it holds.
  size_t Room() const { return m_Buffer.capacity(); }

private:
  /// What has been taken.
  void Forget();

  std::string m_Buffer;
  size_t m_Begin = 0; // of the last frame
  size_t m_Read = 0;  // how much of the buffer has been taken
  size_t m_Limit = k_MaxFrameBeforeWelcome;
};

/// What was received breaks the protocol.
class Malformed : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

} // namespace brenic::wire
