// Adds to a change what becomes of one thing, when that is another than it is in the farm. Each thing is
// added to a change once.
#pragma once

#include <optional>

#include "farm/Farm.h"
#include "rlib/Result.h"

namespace brenic::master {

/// `section` is a product type, or null for the global options; no value: it is not set.
void SetOption(const Farm& farm, const UID& section, const String& name, const std::optional<String>& value,
               Change& change);
void SetLimit(const Farm& farm, const UID& type, std::optional<int> limit, Change& change);
void SetRestriction(const Farm& farm, const String& name, bool on, Change& change);
void SetProduct(const Farm& farm, const UID& type, const std::optional<Customisation>& customisation,
                Change& change);
void SetTranslations(const Farm& farm, const rlib::vector<TranslationSet>& translations, Change& change);

// What the result must keep to.

/// Whether the texts in it, before and after, can be kept together.
rlib::Result<> CheckSize(const Change& change);

} // namespace brenic::master
