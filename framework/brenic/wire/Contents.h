// Messages to and from their form on the wire.
#pragma once

#include "brenic/Message.h"
#include "brenic/PathTranslationsMsg.h"
#include "brenic/Product.h"
#include "wire/Frames.h"

namespace brenic::wire {

/// Writes identifier and contents of `message`.
void ToWire(const Message& message, Envelope& envelope);

/// Null when the contents are of a class that this program does not know. Throws Malformed for an identifier
/// of the wrong length.
shared_ptr<Message> FromWire(Envelope& envelope);

/// The name of the contents' class; null for one that this program does not know.
const char* ClassName(const Envelope& envelope);

/// The list in its one form on the wire, from which its basis is computed.
std::string EncodeTranslations(const rlib::vector<TranslationSet>& translations);
/// Throws Malformed.
rlib::vector<TranslationSet> DecodeTranslations(const std::string& bytes);

void ToWire(const TranslationSet& translation, PathTranslation& wire);
TranslationSet FromWire(const PathTranslation& wire);

void ToWire(const brenic::Product& product, Product& wire);
/// Throws Malformed for an identifier of the wrong length.
shared_ptr<brenic::Product> FromWire(const Product& wire);

std::string IdentifierBytes(const UID& id);
/// Throws Malformed unless there are 16 bytes.
UID Identifier(const std::string& bytes);

} // namespace brenic::wire
