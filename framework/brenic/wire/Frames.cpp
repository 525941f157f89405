#include "wire/Frames.h"

#include <algorithm>

#include <fmt/core.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

namespace brenic::wire {

namespace {

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;

/// A field that lists are found under: it is a list itself, or its message holds some.
struct Holder {
  int m_Field;
  bool m_IsList;
  std::vector<Holder> m_Inner;
};

const std::vector<Holder>& ListsOfFrame() {
  static const Holder k_Aliases{Product::kAliasesFieldNumber, true, {}};
  static const std::vector<Holder> k_Lists{
      {Frame::kProductsFieldNumber, false, {{Products::kProductsFieldNumber, true, {k_Aliases}}}},
      {Frame::kMessageFieldNumber,
       false,
       {{Envelope::kSetMasterOptionsFieldNumber, false, {{SetMasterOptions::kOptionsFieldNumber, true, {}}}},
        {Envelope::kGetMasterOptionsFieldNumber,
         false,
         {{GetMasterOptions::kOptionNamesFieldNumber, true, {}}}},
        {Envelope::kSetMasterLimitsFieldNumber, false, {{SetMasterLimits::kLimitsFieldNumber, true, {}}}},
        {Envelope::kSetMasterRestrictionsFieldNumber,
         false,
         {{SetMasterRestrictions::kRestrictionsFieldNumber, true, {}}}},
        {Envelope::kPathTranslationsFieldNumber,
         false,
         {{PathTranslations::kTranslationsFieldNumber,
           true,
           {{PathTranslation::kRootsFieldNumber, true, {}}}}}},
        {Envelope::kProductFieldNumber, false, {k_Aliases}}}}};
  return k_Lists;
}

/// What cannot be read is left to who decodes it.
size_t CountEntries(CodedInputStream& input, const std::vector<Holder>& holders) {
  size_t count = 0;
  while (const uint32_t tag = input.ReadTag()) {
    const auto holder = std::find_if(holders.begin(), holders.end(), [&](const Holder& each) {
      return each.m_Field == WireFormatLite::GetTagFieldNumber(tag);
    });
    if (holder == holders.end() ||
        WireFormatLite::GetTagWireType(tag) != WireFormatLite::WIRETYPE_LENGTH_DELIMITED) {
      if (!WireFormatLite::SkipField(&input, tag))
        break;
      continue;
    }
    count += holder->m_IsList;
    uint32_t size = 0;
    if (!input.ReadVarint32(&size) || size > static_cast<uint32_t>(input.BytesUntilLimit()))
      break;
    const auto end = input.PushLimit(static_cast<int>(size));
    if (!holder->m_Inner.empty())
      count += CountEntries(input, holder->m_Inner);
    if (!input.Skip(input.BytesUntilLimit()))
      break;
    input.PopLimit(end);
  }
  return count;
}

} // namespace

size_t CountEntries(std::string_view frame) {
  CodedInputStream input(reinterpret_cast<const uint8_t*>(frame.data()), static_cast<int>(frame.size()));
  input.PushLimit(static_cast<int>(frame.size()));
  return CountEntries(input, ListsOfFrame());
}

std::optional<String> Excess(const Frame& frame) {
  const auto text = [](size_t most, const char* what, size_t these) {
    return String(fmt::format("a request has at most {} {}, and this one {}", most, what, these));
  };
  const size_t size = frame.ByteSizeLong();
  if (size > k_MaxFrame)
    return text(k_MaxFrame, "bytes", size);
  if (size <= k_MaxEntries) // of which each has more than one byte
    return std::nullopt;
  if (const size_t entries = CountEntries(frame.SerializeAsString()); entries > k_MaxEntries)
    return text(k_MaxEntries, "entries", entries);
  return std::nullopt;
}

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
  constexpr int k_LastBody = Frame::kAnswerFieldNumber;
  CodedInputStream input(reinterpret_cast<const uint8_t*>(frame.data()), static_cast<int>(frame.size()));
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

void FrameReader::Forget() {
  if (m_Read != m_Buffer.size())
    return;
  m_Buffer.clear();
  if (m_Buffer.capacity() > k_KeptRoom)
    m_Buffer.shrink_to_fit();
  m_Begin = m_Read = 0;
}

void FrameReader::Feed(std::string_view bytes) {
  Forget();
  m_Buffer.append(bytes);
}

std::optional<Frame> FrameReader::Next() {
  Forget(); // also when nothing more comes: a connection may be silent for hours
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
  constexpr size_t k_ShortestEntry = 2; // bytes
  if (length > k_ShortestEntry * k_MaxEntries &&
      CountEntries(rest.substr(k_LengthBytes, length)) > k_MaxEntries)
    throw Malformed(fmt::format("a frame of more than {} entries", k_MaxEntries));
  Frame frame;
  if (!frame.ParseFromArray(rest.data() + k_LengthBytes, static_cast<int>(length)))
    throw Malformed("a frame that cannot be decoded");
  m_Begin = m_Read + k_LengthBytes;
  m_Read = m_Begin + length;
  return frame;
}

} // namespace brenic::wire
