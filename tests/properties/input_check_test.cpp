// The argument check of the six kinds, and the readers of the maximum sizes that it uses.
#include "properties/r_node.h"

namespace properties_test {

class InputCheck : public RNode {
 protected:
  // Headers of the V, IR and IV lists.
  void limits(std::uint64_t v, std::uint64_t ir, std::uint64_t ivID, std::uint64_t ivValue) {
    setWord(word(0x560 + 7 * 24 + 16), v);
    setWord(word(0x560 + 8 * 24 + 16), ir);
    setWord(word(0x560 + 9 * 24 + 16), ivID);
    setWord(word(0x560 + 9 * 24 + 16) + 8, ivValue);
  }

  std::uint32_t check(std::uint32_t kind, std::uint64_t tag, std::uint64_t idLength, const char *id,
                      std::uint64_t valueSize) {
    return sntrCheckInputParameters(kind, node, tag, idLength, id, valueSize, &maxID, &maxValue);
  }

  std::uint64_t maxID = 0, maxValue = 0;
};

constexpr std::uint64_t kAll = SNTR_KIND_R | SNTR_KIND_V | SNTR_KIND_IR | SNTR_KIND_IV;

TEST_F(InputCheck, ByKindInThisOrder) {
  createNode(0x100, kAll);
  limits(64, 10, 20, 30);
  expectCodes({
      {"tag before kind", check(3, 0x100001, 0, nullptr, 0), Rc::TagTooLarge},
      {"unknown kind", check(SNTR_OPTION_DEPENDENTS, 0, 0, nullptr, 0), Rc::BadKind},
      {"R needs nothing", check(SNTR_KIND_R, 0x100000, 99, nullptr, 0), Rc::Ok},
      {"BaseR needs nothing", check(SNTR_KIND_BASE_R, 0, 99, nullptr, 0), Rc::Ok},
      {"IR, longest", check(SNTR_KIND_IR, 1, 10, "x", 0), Rc::Ok},
      {"IR, too long", check(SNTR_KIND_IR, 1, 11, nullptr, 0), Rc::IDTooLong},
      {"IR, null", check(SNTR_KIND_IR, 1, 0, nullptr, 0), Rc::NullID},
      {"V, nothing", check(SNTR_KIND_V, 1, 0, nullptr, 0), Rc::BadValueSize},
      {"V, one", check(SNTR_KIND_V, 1, 0, nullptr, 1), Rc::Ok},
      {"V, largest", check(SNTR_KIND_V, 1, 0, nullptr, 64), Rc::Ok},
      {"V, too large", check(SNTR_KIND_V, 1, 0, nullptr, 65), Rc::BadValueSize},
      {"BaseV has V's maximum", check(SNTR_KIND_BASE_V, 1, 0, nullptr, 65), Rc::BadValueSize},
      {"IV, length before size", check(SNTR_KIND_IV, 1, 21, nullptr, 31), Rc::IDTooLong},
      {"IV, size before null", check(SNTR_KIND_IV, 1, 20, nullptr, 31), Rc::BadValueSize},
      {"IV, null", check(SNTR_KIND_IV, 1, 20, nullptr, 30), Rc::NullID},
      {"IV", check(SNTR_KIND_IV, 1, 20, "x", 30), Rc::Ok},
  });
  EXPECT_RC(sntrCheckInputParameters(3, nullptr, 0x100001, 0, nullptr, 0, nullptr, nullptr), Rc::NullNode);
}

TEST_F(InputCheck, MaximaComeFromTheHeaders) {
  createNode(0x100, kAll);
  limits(0x3000000, 0x1000, 0, 1);
  EXPECT_RC(sntrGetMaxVSizeForVProperties(node, &maxValue), Rc::Ok);
  EXPECT_RC(sntrGetMaxIDSizeForIRProperties(node, &maxID), Rc::Ok);
  EXPECT_TRUE(maxValue == 0x3000000 && maxID == 0x1000) << maxValue << " " << maxID;
  EXPECT_RC(sntrGetMaxIDVSizeForIVProperties(node, &maxID, &maxValue), Rc::Ok);
  EXPECT_TRUE(maxValue == 1 && maxID == 0) << maxValue << " " << maxID;
  limits(0, 0x1001, 0x1001, 0);
  expectCodes({
      {"V without", sntrGetMaxVSizeForVProperties(node, &maxValue), Rc::BadMaxValueSize},
      {"IR beyond", sntrGetMaxIDSizeForIRProperties(node, &maxID), Rc::MaxIDSizeTooLarge},
      {"IV, identifier first", sntrGetMaxIDVSizeForIVProperties(node, &maxID, &maxValue), Rc::MaxIDSizeTooLarge},
  });
  limits(0x3000001, 0, 0, 0x3000001);
  expectCodes({
      {"V beyond", sntrGetMaxVSizeForVProperties(node, &maxValue), Rc::BadMaxValueSize},
      {"IV beyond", sntrGetMaxIDVSizeForIVProperties(node, &maxID, &maxValue), Rc::BadMaxValueSize},
      {"V passes it on", check(SNTR_KIND_V, 1, 0, nullptr, 1), Rc::BadMaxValueSize},
      {"V, node", sntrGetMaxVSizeForVProperties(nullptr, nullptr), Rc::NullNode},
      {"V, output", sntrGetMaxVSizeForVProperties(node, nullptr), Rc::NullVMaxValueOutput},
      {"IR, output", sntrGetMaxIDSizeForIRProperties(node, nullptr), Rc::NullIRMaxIDOutput},
      {"IV, first output", sntrGetMaxIDVSizeForIVProperties(node, nullptr, nullptr), Rc::NullIVMaxIDOutput},
      {"IV, second output", sntrGetMaxIDVSizeForIVProperties(node, &maxID, nullptr), Rc::NullIVMaxValueOutput},
  });
}

TEST_F(InputCheck, WithoutTheOptionTheMaximumIsZero) {
  createNode(0x100, SNTR_KIND_R);
  maxID = maxValue = 7;
  EXPECT_RC(sntrGetMaxIDVSizeForIVProperties(node, &maxID, &maxValue), Rc::Ok);
  EXPECT_EQ(maxID + maxValue, 0U);
  EXPECT_RC(check(SNTR_KIND_V, 1, 0, nullptr, 1), Rc::Ok);
  EXPECT_RC(check(SNTR_KIND_V, 1, 0, nullptr, 2), Rc::BadValueSize);
}

}  // namespace properties_test
