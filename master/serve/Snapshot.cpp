#include "serve/Snapshot.h"

#include "brenic/MessageFactory.h"
#include "brenic/ProductMessages.h"
#include "wire/Contents.h"
#include "wire/Digest.h"

namespace brenic::master {

namespace {

constexpr size_t k_PartBytes = 1024 * 1024;

Bytes Encoded(const wire::Frame& frame) {
  return std::make_shared<const std::string>(wire::Encode(frame));
}

Bytes Encoded(const Message& message) {
  wire::Frame frame;
  wire::ToWire(message, *frame.mutable_message());
  return Encoded(frame);
}

} // namespace

Bytes MakeTranslationsFrame(const Farm& farm) {
  const auto message = MessageFactory::Create<PathTranslationsMsg>();
  message->m_Translations = farm.m_Translations;
  return Encoded(*message);
}

std::shared_ptr<const ProductFrames> MakeProductFrames(const Farm& farm) {
  auto frames = std::make_shared<ProductFrames>();
  frames->m_Products = farm.m_Products.Effective();
  std::string digests; // of each product, so that their borders count
  wire::Frame frame;
  size_t bytes = 0;
  frame.mutable_products(); // an empty list is a part without products
  const auto flush = [&] {
    frames->m_Parts.push_back(Encoded(frame));
    frame.mutable_products()->Clear();
    bytes = 0;
  };
  for (const auto& entry : frames->m_Products) {
    wire::Product product;
    wire::ToWire(*entry.second, product);
    const std::string encoded = product.SerializeAsString();
    digests += Sha256(encoded);
    if (bytes > 0 && bytes + encoded.size() > k_PartBytes)
      flush();
    bytes += encoded.size();
    *frame.mutable_products()->add_products() = std::move(product);
  }
  flush();
  frames->m_Digest = Hex(Sha256(digests));
  const auto end = MessageFactory::Create<EndProductsMsg>();
  end->m_Digest = frames->m_Digest;
  frames->m_End = Encoded(*end);
  return frames;
}

Bytes MakeProductChanges(const ProductFrames& products, const std::set<UID>& changed) {
  std::string bytes;
  for (const UID& type : changed) {
    if (const auto product = products.m_Products.find(type); product != products.m_Products.end()) {
      const auto message = MessageFactory::Create<ProductMsg>();
      message->m_Product = boost::const_pointer_cast<Product>(product->second); // only to be written out
      bytes += *Encoded(*message);
    } else {
      const auto message = MessageFactory::Create<RemoveProductMsg>();
      message->m_ProductType = type;
      bytes += *Encoded(*message);
    }
  }
  return std::make_shared<const std::string>(bytes + *products.m_End);
}

} // namespace brenic::master
