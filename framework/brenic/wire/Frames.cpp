#include "wire/Frames.h"

#include <fmt/core.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

namespace brenic::wire {

std::string Encode(const Frame& frame) {
  const size_t length = frame.ByteSizeLong();
  std::string bytes(k_LengthBytes, '\0');
  for (size_t i = 0; i < k_LengthBytes; ++i)
    bytes[i] = static_cast<char>(length >> (8 * (k_LengthBytes - 1 - i)));
  bytes.reserve(k_LengthBytes + length);
  frame.AppendToString(&bytes);
  return bytes;
}

std::string MessageBytes(std::string_view frame) {
  using google::protobuf::internal::WireFormatLite;
  constexpr int k_LastBody = Frame::kAnswerFieldNumber;
  google::protobuf::io::CodedInputStream input(reinterpret_cast<const uint8_t*>(frame.data()),
                                               static_cast<int>(frame.size()));
  std::string message;
  while (const uint32_t tag = input.ReadTag()) {
    const int field = WireFormatLite::GetTagFieldNumber(tag);
    const bool isBody = field <= k_LastBody &&
                        WireFormatLite::GetTagWireType(tag) == WireFormatLite::WIRETYPE_LENGTH_DELIMITED;
    if (!isBody || field != Frame::kMessageFieldNumber) {
      if (isBody)
        message.clear(); // it took the message's place
      if (!WireFormatLite::SkipField(&input, tag))
        break;
      continue;
    }
    // A message in several pieces means the same as the pieces one behind the other.
    uint32_t size = 0;
    if (std::string piece; input.ReadVarint32(&size) && input.ReadString(&piece, static_cast<int>(size)))
      message.empty() ? message.swap(piece) : void(message += piece);
  }
  return message;
}

void FrameReader::Feed(std::string_view bytes) {
  if (m_Read == m_Buffer.size()) {
    m_Buffer.clear();
    m_Begin = m_Read = 0;
  }
  m_Buffer.append(bytes);
}

std::optional<Frame> FrameReader::Next() {
  const std::string_view rest = std::string_view(m_Buffer).substr(m_Read);
  if (rest.size() < k_LengthBytes)
    return std::nullopt;
  size_t length = 0;
  for (size_t i = 0; i < k_LengthBytes; ++i)
    length = length << 8 | static_cast<unsigned char>(rest[i]);
  if (length > m_Limit)
    throw Malformed(fmt::format("a frame of {} bytes, where {} are allowed", length, m_Limit));
  if (rest.size() - k_LengthBytes < length) {
    m_Buffer.erase(0, m_Read);
    m_Begin = m_Read = 0;
    return std::nullopt;
  }
  Frame frame;
  if (!frame.ParseFromArray(rest.data() + k_LengthBytes, static_cast<int>(length)))
    throw Malformed("a frame that cannot be decoded");
  m_Begin = m_Read + k_LengthBytes;
  m_Read = m_Begin + length;
  return frame;
}

} // namespace brenic::wire
