// What a client's own certificate tells its user before it ends.
#include "client/OwnCertificate.h"

#include <gmock/gmock.h>

#include "TestCertificates.h"

namespace brenic {
namespace {

const std::string k_Folders = " --data-dir DIR --out FOLDER";
constexpr long k_Day = 24 * 60 * 60;
constexpr std::time_t k_End = 1'800'000'000; // 2027-01-15 08:00:00 UTC

class OwnCertificateTest : public testing::Test {
protected:
  OwnCertificateTest() {
    ASN1_TIME_set(X509_getm_notAfter(m_Certificate.m_Certificate.get()), k_End);
    SetName("render17");
  }
  void SetName(const std::string& name) {
    X509_NAME* subject = X509_NAME_new();
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_subject_name(m_Certificate.m_Certificate.get(), subject);
    X509_NAME_free(subject);
  }
  /// Empty for none.
  std::string Warning(long secondsLeft) {
    return EndsSoon(m_Certificate.m_Certificate.get(), "/etc/brenic/client.pem", k_End - secondsLeft)
        .value_or("")
        .str();
  }

  TestCertificate m_Certificate = MakeCertificate({Purpose::k_Client}, nullptr);
};

TEST_F(OwnCertificateTest, AWarningSaysWhichFileEndsWhenAndWhatToDo) {
  EXPECT_EQ(
      Warning(42 * k_Day + 5),
      "The certificate '/etc/brenic/client.pem' ends on 2027-01-15 (42 days left, by this machine's clock): "
      "have 'brenic-master client render17 --renew --data-dir DIR --out FOLDER' run on the Master's machine, "
      "and put the new files in place of these");
}

TEST_F(OwnCertificateTest, ItComesFromSixtyDaysBeforeTheEndOn) {
  EXPECT_EQ(Warning(60 * k_Day + 1), "");
  EXPECT_THAT(Warning(60 * k_Day), testing::HasSubstr("(60 days left, "));
  EXPECT_THAT(Warning(2 * k_Day - 1), testing::HasSubstr("(1 day left, "));
  EXPECT_THAT(Warning(k_Day - 1), testing::HasSubstr("(less than a day left, "));
  EXPECT_THAT(Warning(0), testing::HasSubstr("(less than a day left, "));
}

TEST_F(OwnCertificateTest, OneThatHasEndedIsLeftToTheMastersRefusal) {
  EXPECT_EQ(Warning(-1), "");
}

TEST_F(OwnCertificateTest, TheCommandsNameIsFitForAShell) {
  const auto command = [this](const std::string& name) {
    SetName(name);
    return RenewalCommand(m_Certificate.m_Certificate.get());
  };
  EXPECT_EQ(command("render-17.farm_2"), "brenic-master client render-17.farm_2 --renew" + k_Folders);
  EXPECT_EQ(command("render 17"), "brenic-master client \"render 17\" --renew" + k_Folders);
  EXPECT_EQ(command("Büro;a"), "brenic-master client \"Büro;a\" --renew" + k_Folders);
  for (const char* odd : {"it's", "a\"b", "`x`", "$x", "a\\b", "a!", "a\nb", "a\x1b[2J", ""})
    EXPECT_EQ(command(odd), "brenic-master client NAME --renew" + k_Folders) << odd;
}

} // namespace
} // namespace brenic
