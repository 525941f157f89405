#include "wire/Frames.h"

#include <fmt/core.h>

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

void FrameReader::Feed(std::string_view bytes) {
  if (m_Read == m_Buffer.size()) {
    m_Buffer.clear();
    m_Read = 0;
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
    m_Read = 0;
    return std::nullopt;
  }
  Frame frame;
  if (!frame.ParseFromArray(rest.data() + k_LengthBytes, static_cast<int>(length)))
    throw Malformed("a frame that cannot be decoded");
  m_Read += k_LengthBytes + length;
  return frame;
}

} // namespace brenic::wire
