#include "Snapshot.h"

#include "Digest.h"
#include "brenic/MessageFactory.h"
#include "wire/Contents.h"

namespace brenic::master {

namespace {

constexpr size_t k_PartBytes = 1024 * 1024;

Bytes Encoded(const wire::Frame& frame) {
  return std::make_shared<const std::string>(wire::Encode(frame));
}

} // namespace

Bytes MakeTranslationsFrame(const Settings& settings) {
  const auto message = MessageFactory::Create<PathTranslationsMsg>();
  message->m_Translations = settings.m_Translations;
  wire::Frame frame;
  wire::ToWire(*message, *frame.mutable_message());
  return Encoded(frame);
}

std::shared_ptr<const ProductFrames> MakeProductFrames(const Settings& settings) {
  auto frames = std::make_shared<ProductFrames>();
  std::string digests; // of each product, so that their borders count
  wire::Frame frame;
  size_t bytes = 0;
  const auto flush = [&] {
    if (frame.products().products_size() > 0)
      frames->m_Parts.push_back(Encoded(frame));
    frame.Clear();
    bytes = 0;
  };
  for (const auto& entry : settings.m_Products.Effective()) {
    wire::Product product;
    wire::ToWire(*entry.second, product);
    const std::string encoded = product.SerializeAsString();
    digests += Sha256(encoded);
    if (bytes + encoded.size() > k_PartBytes)
      flush();
    bytes += encoded.size();
    *frame.mutable_products()->add_products() = std::move(product);
  }
  flush();
  frames->m_Digest = Hex(Sha256(digests));
  return frames;
}

} // namespace brenic::master
