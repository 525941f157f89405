#include "client/OwnCertificate.h"

#include <algorithm>

#include <fmt/core.h>

#include "rlib/Escape.h"

namespace brenic {

namespace {

constexpr std::time_t k_Day = 24 * 60 * 60;
constexpr std::time_t k_WarnFor = 60 * k_Day;

/// The client's name; empty when there is none.
std::string Name(const X509* certificate) {
  const X509_NAME* const subject = X509_get_subject_name(certificate);
  const int index = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
  if (index < 0)
    return "";
  const ASN1_STRING* const name = X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index));
  unsigned char* text = nullptr;
  const int size = ASN1_STRING_to_UTF8(&text, name);
  std::string result = size < 0 ? "" : std::string(text, text + size);
  OPENSSL_free(text);
  return result;
}

bool IsPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
         c == '_' || c == '@';
}

/// A name as a shell takes it. One that would need more than double quotes is left to the reader.
std::string Quoted(const std::string& name) {
  if (name.empty() || name.find_first_of("'\"`$\\!") != std::string::npos || rlib::HoldsControls(name))
    return "NAME";
  return std::all_of(name.begin(), name.end(), IsPlain) ? name : '"' + name + '"';
}

std::string Left(std::time_t seconds) {
  const std::time_t days = seconds / k_Day;
  return days == 0 ? "less than a day" : days == 1 ? "1 day" : fmt::format("{} days", days);
}

} // namespace

std::optional<String> EndsSoon(const X509* certificate, const Path& file, std::time_t now) {
  tm end{};
  if (ASN1_TIME_to_tm(X509_get0_notAfter(certificate), &end) != 1)
    return std::nullopt;
  const std::time_t left = timegm(&end) - now;
  if (left < 0 || left > k_WarnFor)
    return std::nullopt;
  return String(
      fmt::format("The certificate '{}' ends on {:04}-{:02}-{:02} ({} left, by this machine's clock): {}",
                  file.str().str(), end.tm_year + 1900, end.tm_mon + 1, end.tm_mday, Left(left),
                  HowToRenew(certificate)));
}

std::string RenewalCommand(const X509* certificate) {
  return fmt::format("brenic-master client {} --renew --data-dir DIR --out FOLDER",
                     Quoted(Name(certificate)));
}

std::string HowToRenew(const X509* certificate) {
  return fmt::format("have '{}' run on the Master's machine, and put the new files in place of these",
                     RenewalCommand(certificate));
}

} // namespace brenic
