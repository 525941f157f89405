// What values the Master takes, and therefore holds.
#pragma once

#include "brenic/PathTranslationsMsg.h"
#include "brenic/Types.h"
#include "rlib/Result.h"

namespace brenic::master {

/// Limits of what the Master takes, in bytes unless said otherwise.
inline constexpr size_t k_MaxValue = 64 * 1024;
/// Of the global option `Message`, which travels in every Welcome: that stays below 64 KiB, the most that
/// clients once took before they were welcome.
inline constexpr size_t k_MaxMessage = 32 * 1024;
inline constexpr size_t k_MaxUserLimits = 16 * 1024 * 1024;
inline constexpr size_t k_MaxRoot = 4096;
inline constexpr size_t k_MaxTranslationCount = 100'000; // translations

/// Whether an option can have the value; `global` tells those of the farm from those of a product type.
rlib::Result<> CheckOptionValue(const String& name, const String& value, bool global);

rlib::Result<> CheckTranslations(const rlib::vector<TranslationSet>& translations);

/// Why so many path translations are refused.
rlib::Failure TooManyTranslations(size_t count);

} // namespace brenic::master
