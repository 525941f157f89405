#include "store/ChangeBytes.h"

#include <gmock/gmock.h>

#include "brenic/wire/Ascending.h"
#include "brenic/wire/Hex.h"
#include "farm/RandomRequests.h"
#include "store/Store.h"
#include "wire/Digest.h"
#include "wire/Frames.h"

namespace brenic::master {
namespace {

const UID k_Type = Ascending(0xf0);

/// The products whose digests were asked for.
class Documents {
public:
  void Add(const shared_ptr<const Product>& product) { m_Products[Sha256(product->Document())] = product; }
  void AddAll(const Change& change) {
    for (const auto* products : {&change.m_Products, &change.m_Defaults}) {
      for (const auto& [type, step] : *products) {
        for (const auto& state : {step.m_Before, step.m_After}) {
          if (state && state->m_Installed)
            Add(state->m_Installed);
        }
      }
    }
  }
  shared_ptr<const Product> operator()(const std::string& digest) const {
    const auto found = m_Products.find(digest);
    if (found == m_Products.end())
      throw StoreFailure("no such document");
    return found->second;
  }

private:
  std::map<std::string, shared_ptr<const Product>> m_Products;
};

Change Decoded(const std::string& bytes, const Documents& documents = {}) {
  return DecodeChange(bytes, documents);
}

/// The bytes of a database that was written years ago must mean the same. They were put together from the
/// schema by hand, apart from the encoder.
void ExpectGolden(const Change& change, const std::string& hex, const Documents& documents = {}) {
  EXPECT_EQ(ToHex(EncodeChange(change)), hex);
  EXPECT_EQ(Decoded(FromHex(hex), documents), change);
}

TEST(GoldenChange, Nothing) {
  ExpectGolden(Change(), "");
}

TEST(GoldenChange, Options) {
  Change change;
  change.m_Options = {{UID::Null, "a", {std::nullopt, String("1")}},
                      {k_Type, "B", {String(""), String("2")}},
                      {UID::Null, "c", {String("3"), std::nullopt}}};
  ExpectGolden(change,
               "0a061201612201310a1a0a10f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff1201421a002201320a061201631a0133");
}

TEST(GoldenChange, UserLimits) {
  Change change;
  change.m_UserLimits = UserLimitsChange{"UserLimits", false, true, {{{0, {}, {"a"}}}}};
  ExpectGolden(change, "12130a0a557365724c696d697473180122031a0161");
  change.m_UserLimits =
      UserLimitsChange{"UserLimits", true, true, {{{1, {"bob=2"}, {"bob=7"}}, {300, {}, {""}}}}};
  ExpectGolden(change,
               "12290a0a557365724c696d69747310011801221008011205626f623d321a05626f623d37220508ac021a00");
}

TEST(GoldenChange, Limits) {
  Change change;
  change.m_Limits = {{UID::Null, {std::nullopt, 0}}, {k_Type, {-1, 300}}};
  ExpectGolden(
      change,
      "1a140a100000000000000000000000000000000018001a170a10f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff100118d804");
}

TEST(GoldenChange, Restrictions) {
  Change change;
  change.m_Restrictions = {{"On", true}, {"Off", false}};
  ExpectGolden(change, "22050a034f666622060a024f6e1001");
}

TEST(GoldenChange, Translations) {
  Change change;
  change.m_Translations = {{{2, {{{0, Path("X:")}}}, {{{1, Path("/x")}}, {}}}}};
  ExpectGolden(change, "2a16080212060a041202583a1a080a06080112022f781a00");
}

TEST(GoldenChange, Products) {
  Documents documents;
  const auto product = boost::make_shared<const Product>(k_Type, "n", rlib::vector<String>(), "{}");
  documents.Add(product);
  Change change;
  change.m_Products = {{UID::Null, {std::nullopt, Customisation()}},
                       {k_Type, {Customisation{product}, Customisation()}}};
  ExpectGolden(change,
               "32140a10000000000000000000000000000000001a00"
               "32380a10f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff12220a20"
               "44136fa355b3678a1146ad16f7e8649e94fb4fc21fe77e8310c060f61caaff8a1a00",
               documents);
}

TEST(GoldenChange, DefaultProducts) {
  Documents documents;
  const auto product = boost::make_shared<const Product>(k_Type, "n", rlib::vector<String>(), "{}");
  documents.Add(product);
  Change change;
  change.m_Defaults = {{k_Type, {Customisation{product}, std::nullopt}}};
  ExpectGolden(change,
               "3a360a10f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff12220a20"
               "44136fa355b3678a1146ad16f7e8649e94fb4fc21fe77e8310c060f61caaff8a",
               documents);
}

TEST(ChangeBytes, KeepAnyBytesOfATextAndTheWholeRangeOfALimit) {
  const String any("\0\xff\xc3\x28\n\"", 6);
  Change change;
  change.m_Options = {{k_Type, any, {any, String("")}}, {k_Type, "", {std::nullopt, any}}};
  change.m_UserLimits =
      UserLimitsChange{any, false, false, {{{1, {any, ""}, {}}, {5'000'000'000, {}, {any}}}}};
  change.m_Limits = {{k_Type, {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}},
                     {UID::Null, {0, std::nullopt}}};
  change.m_Restrictions = {{any, false}, {"", true}};
  change.m_Translations = {{{0, {{{-5, Path(any)}, {7, Path("")}}}, {}}}};
  EXPECT_EQ(Decoded(EncodeChange(change)), change);
}

TEST(ChangeBytes, AreOfEveryChangeThatRequestsMakeAndOfItsInverse) {
  size_t tried = 0;
  for (uint32_t seed = 100; seed != 130; ++seed) {
    Farm farm = FarmWithHiddenProduct();
    Documents documents;
    ForRandomChanges(seed, 80, farm, [&](const Message&, const Change& change) {
      documents.AddAll(change);
      for (const Change& each : {change, Inverse(change)})
        ASSERT_EQ(Decoded(EncodeChange(each), documents), each) << "seed " << seed;
      tried += !change.IsEmpty();
    });
  }
  EXPECT_GT(tried, 1000u);
}

TEST(ChangeBytes, NameADocumentByItsDigestAndDoNotHoldIt) {
  const auto product = MakeProduct(3, std::string(200, 'x'));
  Change change;
  change.m_Products = {{Type(3), {Customisation{product}, std::nullopt}}};
  const std::string bytes = EncodeChange(change);
  EXPECT_THAT(bytes, testing::HasSubstr(Sha256(product->Document())));
  EXPECT_LT(bytes.size(), 64u);
  EXPECT_THROW((void)Decoded(bytes), StoreFailure) << "the document is not there";
}

TEST(ChangeBytes, ThatAreNoChangeAreAStoreFailure) {
  for (const char* hex : {"ff", "0a", "0a05120161", "07", "0a0112", "3b"})
    EXPECT_THROW((void)Decoded(FromHex(hex)), StoreFailure) << hex;
}

TEST(ChangeBytes, WithAnIdentifierOfAnotherLengthAreAStoreFailure) {
  // An option of a type, a limit without and with a type, a product.
  for (const char* hex : {"0a050a03616263", "1a021800", "1a070a056162636465", "32020a00", "32040a026162"})
    EXPECT_THROW((void)Decoded(FromHex(hex)), StoreFailure) << hex;
}

TEST(ChangeBytes, OfALaterVersionAreReadWithoutWhatIsNotKnown) {
  Change change;
  change.m_Restrictions = {{"a", true}};
  EXPECT_EQ(Decoded(EncodeChange(change) + FromHex("7a036e6577")), change);
}

TEST(ChangeBytes, ThatAreDamagedNeverEndTheProgram) {
  Farm farm = FarmWithHiddenProduct();
  Documents documents;
  RandomRequests random(5);
  size_t refused = 0;
  ForRandomChanges(1, 60, farm, [&](const Message&, const Change& change) {
    documents.AddAll(change);
    std::string bytes = EncodeChange(change);
    for (int i = 0; i != 200 && !bytes.empty(); ++i) {
      std::string damaged = bytes;
      if (random.Below(3) == 0)
        damaged.resize(random.Below(damaged.size()));
      for (size_t bits = random.Below(4); bits != 0 && !damaged.empty(); --bits)
        damaged[random.Below(damaged.size())] ^= static_cast<char>(1 << random.Below(8));
      try {
        (void)Inverse(Decoded(damaged, documents));
      } catch (const std::runtime_error&) {
        ++refused;
      }
    }
  });
  EXPECT_GT(refused, 500u);
}

} // namespace
} // namespace brenic::master
