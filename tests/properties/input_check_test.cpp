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

  std::uint64_t maxID = 0;
  std::uint64_t maxValue = 0;
};

constexpr std::uint64_t kAll = SNTR_KIND_R | SNTR_KIND_V | SNTR_KIND_IR | SNTR_KIND_IV;

TEST_F(InputCheck, ByKindInThisOrder) {
  createNode(0x100, kAll);
  limits(64, 10, 20, 30);
  const struct {
    const char *name;
    std::uint32_t kind;
    std::uint64_t tag, idLength;
    const char *id;
    std::uint64_t valueSize;
    Rc expected;
  } rows[] = {
      {"tag before kind", 3, 0x100001, 0, nullptr, 0, Rc::TagTooLarge},
      {"unknown kind", SNTR_OPTION_DEPENDENTS, 0, 0, nullptr, 0, Rc::BadKind},
      {"R needs nothing", SNTR_KIND_R, 0x100000, 99, nullptr, 0, Rc::Ok},
      {"BaseR needs nothing", SNTR_KIND_BASE_R, 0, 99, nullptr, 0, Rc::Ok},
      {"IR, longest", SNTR_KIND_IR, 1, 10, "x", 0, Rc::Ok},
      {"IR, too long", SNTR_KIND_IR, 1, 11, nullptr, 0, Rc::IDTooLong},
      {"IR, null", SNTR_KIND_IR, 1, 0, nullptr, 0, Rc::NullID},
      {"V, nothing", SNTR_KIND_V, 1, 0, nullptr, 0, Rc::BadValueSize},
      {"V, one", SNTR_KIND_V, 1, 0, nullptr, 1, Rc::Ok},
      {"V, largest", SNTR_KIND_V, 1, 0, nullptr, 64, Rc::Ok},
      {"V, too large", SNTR_KIND_V, 1, 0, nullptr, 65, Rc::BadValueSize},
      {"BaseV has V's maximum", SNTR_KIND_BASE_V, 1, 0, nullptr, 65, Rc::BadValueSize},
      {"IV, length before size", SNTR_KIND_IV, 1, 21, nullptr, 31, Rc::IDTooLong},
      {"IV, size before null", SNTR_KIND_IV, 1, 20, nullptr, 31, Rc::BadValueSize},
      {"IV, null", SNTR_KIND_IV, 1, 20, nullptr, 30, Rc::NullID},
      {"IV", SNTR_KIND_IV, 1, 20, "x", 30, Rc::Ok},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(named(sntrCheckInputParameters(row.kind, node, row.tag, row.idLength, row.id, row.valueSize, &maxID,
                                             &maxValue)),
              named(row.expected))
        << row.name;
  }
  EXPECT_EQ(named(sntrCheckInputParameters(3, nullptr, 0x100001, 0, nullptr, 0, nullptr, nullptr)),
            named(Rc::NullNode));
}

TEST_F(InputCheck, MaximaComeFromTheHeaders) {
  createNode(0x100, kAll);
  limits(0x3000000, 0x1000, 0, 1);
  EXPECT_EQ(named(sntrGetMaxVSizeForVProperties(node, &maxValue)), named(Rc::Ok));
  EXPECT_EQ(maxValue, 0x3000000U);
  EXPECT_EQ(named(sntrGetMaxIDSizeForIRProperties(node, &maxID)), named(Rc::Ok));
  EXPECT_EQ(maxID, 0x1000U);
  EXPECT_EQ(named(sntrGetMaxIDVSizeForIVProperties(node, &maxID, &maxValue)), named(Rc::Ok));
  EXPECT_EQ(maxID, 0U);
  EXPECT_EQ(maxValue, 1U);
  limits(0, 0x1001, 0x1001, 0);
  expectCodes({
      {"V without", [&] { return sntrGetMaxVSizeForVProperties(node, &maxValue); }, Rc::BadMaxValueSize},
      {"IR beyond", [&] { return sntrGetMaxIDSizeForIRProperties(node, &maxID); }, Rc::MaxIDSizeTooLarge},
      {"IV, identifier first", [&] { return sntrGetMaxIDVSizeForIVProperties(node, &maxID, &maxValue); },
       Rc::MaxIDSizeTooLarge},
  });
  limits(0x3000001, 0, 0, 0x3000001);
  expectCodes({
      {"V beyond", [&] { return sntrGetMaxVSizeForVProperties(node, &maxValue); }, Rc::BadMaxValueSize},
      {"IV beyond", [&] { return sntrGetMaxIDVSizeForIVProperties(node, &maxID, &maxValue); }, Rc::BadMaxValueSize},
      {"V passes it on",
       [&] { return sntrCheckInputParameters(SNTR_KIND_V, node, 1, 0, nullptr, 1, &maxID, &maxValue); },
       Rc::BadMaxValueSize},
      {"V, node", [&] { return sntrGetMaxVSizeForVProperties(nullptr, nullptr); }, Rc::NullNode},
      {"V, output", [&] { return sntrGetMaxVSizeForVProperties(node, nullptr); }, Rc::NullVMaxValueOutput},
      {"IR, output", [&] { return sntrGetMaxIDSizeForIRProperties(node, nullptr); }, Rc::NullIRMaxIDOutput},
      {"IV, first output", [&] { return sntrGetMaxIDVSizeForIVProperties(node, nullptr, nullptr); },
       Rc::NullIVMaxIDOutput},
      {"IV, second output", [&] { return sntrGetMaxIDVSizeForIVProperties(node, &maxID, nullptr); },
       Rc::NullIVMaxValueOutput},
  });
}

TEST_F(InputCheck, WithoutTheOptionTheMaximumIsZero) {
  createNode(0x100, SNTR_KIND_R);
  maxID = maxValue = 7;
  EXPECT_EQ(named(sntrGetMaxIDVSizeForIVProperties(node, &maxID, &maxValue)), named(Rc::Ok));
  EXPECT_EQ(maxID + maxValue, 0U);
  EXPECT_EQ(named(sntrCheckInputParameters(SNTR_KIND_V, node, 1, 0, nullptr, 1, &maxID, &maxValue)), named(Rc::Ok));
  EXPECT_EQ(named(sntrCheckInputParameters(SNTR_KIND_V, node, 1, 0, nullptr, 2, &maxID, &maxValue)),
            named(Rc::BadValueSize));
}

}  // namespace properties_test
