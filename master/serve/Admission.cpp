#include "serve/Admission.h"

#include <fmt/core.h>

#include "rlib/Escape.h"

namespace brenic::master {

namespace {

std::string Date(int64_t time) {
  return Time(time).Format("%Y-%m-%d").str();
}

} // namespace

std::optional<String> WhyRefused(const std::string& serial, const std::optional<ClientRecord>& client,
                                 int64_t now) {
  if (!client)
    return String(fmt::format("This Master does not know the certificate with the serial number {}; ask its "
                              "administrator for new credentials",
                              serial));
  const std::string name = rlib::Excerpt(client->m_Name).str();
  if (client->m_Revoked)
    return String(fmt::format("The certificate of '{}' with the serial number {} was revoked on {}; ask the "
                              "Master's administrator for new credentials",
                              name, serial, Date(*client->m_Revoked)));
  if (client->m_Expires && *client->m_Expires <= now)
    return String(
        fmt::format("The certificate of '{}' ended on {}; its administrator renews it on the Master's "
                    "machine with brenic-master client --renew",
                    name, Date(*client->m_Expires)));
  return std::nullopt;
}

} // namespace brenic::master
