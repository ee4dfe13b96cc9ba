// SPDX-License-Identifier: MIT
// Result codes. In a ladder every argument is wrong at first, and one after the other is mended: the first that is
// still wrong decides the code, nothing is changed, and nothing returned.
#include <tuple>

#include "properties/kind_node.h"

namespace properties_test {
namespace {

using support::kNoID, support::kNoIDs, support::kNoLengths, support::kNoRC, support::kNoSizes, support::kNoTags,
    support::kNoValue;

// Codes for arguments that are null or out of range, by the index of the kind's area.
const struct ArgumentCodes {
  Rc nullRecord, nullValue, noOption, badCount, areaTooSmall, tableAreaTooSmall;
} kArgumentCodes[] = {
    {Rc::NullBaseRRecord, Rc::NullBaseRValueOutput, Rc::NoBaseROption, Rc::Ok, Rc::BaseRAreaTooSmall, Rc::Ok},
    {Rc::NullBaseVRecord, Rc::NullBaseVValue, Rc::NoBaseVOption, Rc::Ok, Rc::BaseVAreaTooSmall, Rc::Ok},
    {Rc::NullRRecord, Rc::NullRValueOutput, Rc::NoROption, Rc::BadRCount, Rc::RAreaTooSmall, Rc::RTableAreaTooSmall},
    {Rc::NullVRecord, Rc::NullVValue, Rc::NoVOption, Rc::BadVCount, Rc::VAreaTooSmall, Rc::VTableAreaTooSmall},
    {Rc::NullIRRecord, Rc::NullIRValueOutput, Rc::NoIROption, Rc::BadIRCount, Rc::IRAreaTooSmall,
     Rc::IRTableAreaTooSmall},
    {Rc::NullIVRecord, Rc::NullIVValue, Rc::NoIVOption, Rc::BadIVCount, Rc::IVAreaTooSmall, Rc::IVTableAreaTooSmall},
};

// A step of a ladder, for kinds that it applies to: the code before it, and what mends its argument.
struct Step {
  const char *name;
  bool applies;
  Rc code;
  std::function<void()> mend;
};

class Codes : public FilledKindNode {
 protected:
  // The steps of all ladders, by letters.
  std::map<char, Step> steps(Arguments &a) {
    const ArgumentCodes &codes = kArgumentCodes[kind->area - SNTR_AREA_BASE_R];
    const bool hasID = kind->hasID(), hasBytes = kind->hasBytes(), asTable = isTable;
    const std::uint64_t least = isTable ? slot(1) - area + 16 : record(2) - area;
    const auto give = [&a](unsigned null) { return [&a, null] { a.nulls &= ~null; }; };
    const auto name = [&a] { a.key = {4, "bb"}; };
    const auto make = [&](std::uint64_t areaSize, std::uint64_t options, std::uint64_t tag) {
      return [=, this, &a] {
        createNode(*kind, areaSize, true, options);
        node->nodeCondition = SNTR_CONDITION_INITIALIZED;
        a.node = node, a.key.tag = tag;
      };
    };
    return {
        {'n', {"node", true, Rc::NullNode, [&] { a.node = node; }}},
        {'t', {"tag", true, Rc::TagTooLarge, [&] { a.key.tag = 0x100000; }}},
        {'l', {"length", hasID, Rc::IDTooLong, [&] { a.key.id = "longest!"; }}},
        {'i', {"identifier", hasID, Rc::NullID, give(kNoID)}},
        {'z', {"no bytes", hasBytes, Rc::BadValueSize, [&] { a.value.bytes.resize(kMaxValue + 1); }}},
        {'s', {"size", hasBytes, Rc::BadValueSize, [&] { a.value.bytes.resize(kMaxValue); }}},
        {'v', {"value", hasBytes, codes.nullValue, give(kNoValue)}},
        {'o', {"output", !hasBytes, codes.nullValue, give(kNoValue)}},
        {'c', {"result code", true, Rc::NullRCOutput, give(kNoRC)}},
        {'u', {"count", true, Rc::NullOutput, give(kNoValue)}},
        {'q', {"address", true, codes.nullRecord, give(kNoValue)}},
        {'r', {"record", true, codes.nullRecord, [&] { a.record = recordAt(record(1) + 1); }}},
        {'x', {"no record", true, kind->damaged, [&] { a.record = recordAt(isTable ? record(4) : end); }}},
        {'y', {"no record yet", true, kind->damaged, [&] { a.record = recordAt(record(1)); }}},
        {'m', {"missing", true, kind->notFound, name}},
        {'M', {"missing", true, missing(), name}},
        {'N', {"none", true, kind->notInTable, name}},
        // Keys out.
        {'0', {"no entries", true, codes.badCount, [&] { a.capacity = 0x8001; }}},
        {'8', {"entries", true, codes.badCount, [&] { a.capacity = 0x8000; }}},
        {'T', {"tags", true, kind->isBase() ? Rc::NullBaseTagOutput : Rc::NullTags, give(kNoTags)}},
        {'L', {"lengths", hasID, Rc::NullLength, give(kNoLengths)}},
        {'I', {"identifiers", hasID, Rc::NullID, give(kNoIDs)}},
        {'S', {"sizes", hasBytes, Rc::NullValueSizes, give(kNoSizes)}},
        {'f', {"filter", true, Rc::TagTooLarge, [&] { a.filter = 0x100000; }}},
        {'w', {"wide slots", hasID, Rc::IDSlotTooWide, [&] { a.width = 1; }}},
        {'F', {"none", true, kind->notInTable, [&] { a.filter = 4; }}},
        {'W', {"narrow slots", hasID, Rc::IDTooLong, [&] { a.width = kMaxID; }}},
        // Creation. The area has just enough room in the end.
        {'A', {"node", true, Rc::NullNode, make(least, 0x17e0 - kind->selector(), 0x100001)}},
        {'B', {"option", true, codes.noOption, make(least - asTable, 0x17e0, 0x100001)}},
        {'C', {"number", true, codes.badCount, [&] { a.count = 3, a.capacity = 0x8001; }}},
        {'D', {"capacity", true, codes.badCount, [&] { a.capacity = 1; }}},
        {'V', {"values", true, hasBytes ? Rc::NullValues : Rc::NullRegisterValues, give(kNoValue)}},
        {'E', {"longest identifier", hasID, Rc::MaxIDSizeTooLarge, [&] { a.maxID = kMaxID; }}},
        {'G', {"odd largest size", hasBytes, Rc::BadMaxValueSize, [&] { a.maxValue = 0x3000008; }}},
        {'H', {"largest size", hasBytes, Rc::BadMaxValueSize, [&] { a.maxValue = kMaxValue; }}},
        {'J', {"layout", true, Rc::BadLayout, [&a, asTable] { a.layout = asTable; }}},
        {'K', {"room for three", !asTable, codes.areaTooSmall, [&] { a.count = 2; }}},
        {'P', {"few buckets", asTable, Rc::FewerBucketsThanProperties, [&] { a.count = 1; }}},
        {'Q', {"room for one", asTable, codes.tableAreaTooSmall, make(least, 0x17e0, 0x100000)}},
        {'R', {"condition", true, Rc::NodeOnlyInitialized, [&] { node->nodeCondition = SNTR_CONDITION_ACTIVE; }}},
        {'U', {"equal keys", !asTable, kind->exists, [&] { a.count = 1; }}},
    };
  }

  // The first argument that is wrong decides the code, changes nothing, and returns nothing.
  void climb(char operation, const std::string &letters) {
    Arguments a{nullptr, nullptr, {0x100001, "too long."}, {1, ""}, 0, kMaxID + 1, 0x100001, 0x8001, 0x1001, 12,
                2,       ~0u};
    const std::map<char, Step> all = steps(a);
    const Got untouched = got = {{77, "untouched"}, 77, 77, recordAt(77)};
    for (const char letter : letters) {
      const Step &step = all.at(letter);
      if (!step.applies) continue;
      SCOPED_TRACE(std::string(1, operation) + ", " + step.name);
      const std::string before = contentOf(false);
      EXPECT_RC(perform(operation, a), step.code);
      EXPECT_TRUE(contentOf(false) == before) << "something was changed";
      EXPECT_TRUE(operation == 't' || got == untouched) << "something was returned";
      step.mend();
    }
    EXPECT_RC(perform(operation, a), Rc::Ok) << operation;
    if (operation == 'C') EXPECT_RC(perform(operation, a), Rc::ListLaidOut);
  }
};

TEST_F(Codes, TheFirstWrongArgumentDecides) {
  const std::vector<std::string> ofAll = {"gntliom", "sntlzsivm", "rntlicM", "wntliM",
                                          "pntliqM", "dntliM",    "Bnrocxy", "Snrzsvxy"};
  const std::vector<std::string> ofLists = {"antlzsiv", "cnu", "tntuN", "kn08TLISfwFW"}, ofBase = {"anzsvt", "knTS"};
  forEachFilled(support::kAllKinds, [&] {
    const std::string whole = content();
    for (const auto &ladders : {ofAll, kind->isBase() ? ofBase : ofLists}) {
      for (const std::string &ladder : ladders) climb(ladder[0], ladder.substr(1)), restore(whole);
    }
    if (!kind->isBase()) EXPECT_RC(of().add({4, "bb"}, {9, "new"}), kind->exists);
    EXPECT_TRUE(contentOf(false) == contentOf(false, whole)) << "something was changed";
    ASSERT_RC(sntrEnterCriticalSectionBeforeRead(node, &node->primaryLatch), Rc::Ok);
    for (const char operation : operations()) EXPECT_RC(run(operation), Rc::LatchFailed) << operation;
    ASSERT_RC(sntrExitCriticalSectionAfterRead(node, &node->primaryLatch), Rc::Ok);
    if (!kind->isBase()) climb('C', isTable ? "ABCDTLISVEGHlzsiJPQR" : "ABCDTLISVEGHlzsiJKRUt");
  });
}

// What R has more, in this order.
TEST_F(Codes, OfTheOthers) {
  for (const std::uint32_t layout : {SNTR_LAYOUT_ARRAY, SNTR_LAYOUT_HASH}) {
    fill(kR, layout);
    setWord(word(kV.entry() + 16), 64), setWord(word(kIR.entry() + 16), 10);
    setWord(word(kIV.entry() + 16), 20), setWord(word(kIV.entry() + 16) + 8, 30);
    std::uint64_t *const none = nullptr, foreign = area + 9, &out = got.out, maxID = 0, maxValue = 0;
    std::int32_t *address = nullptr;
    const AreaEntry *const table = &node->areaTable[SNTR_AREA_R];
    const auto check = [&](std::uint32_t selector, std::uint64_t tag, std::uint64_t bytes) {
      return sntrCheckInputParameters(selector, node, tag, 20, "id", bytes, &maxID, &maxValue);
    };
    const std::tuple<const char *, std::uint32_t, Rc> rows[] = {
        {"register, output", sntrGetAddressForRPropertyValue(node, 5, nullptr), Rc::NullRRecord},
        {"register, missing", sntrGetAddressForRPropertyValue(node, 5, &address), Rc::RNotFound},
        {"register", sntrGetAddressForRPropertyValue(node, 4, &address), Rc::Ok},
        {"table find, output", sntrFindRPropertyInHashTable(node, 5, nullptr), Rc::NullRRecord},
        {"table find, missing", sntrFindRPropertyInHashTable(node, 5, &got.record), Rc::RNotInTable},
        {"table delete, missing", sntrDeleteRPropertyFromHashTable(node, 5), Rc::RNotInTable},
        {"table add", sntrAddRPropertyToHashTable(node, 8, 0, 0), isTable ? Rc::Ok : Rc::BadBucketCount},
        {"table delete", sntrDeleteRPropertyFromHashTable(node, 8), isTable ? Rc::Ok : Rc::RNotInTable},
        {"number by tag, output", sntrGetRPropertiesNoForGivenTag(node, 4, nullptr, 0), Rc::NullRUsedOutput},
        {"number by tag, none", sntrGetRPropertiesNoForGivenTag(node, 5, &out, 0), Rc::RNotInTable},
        {"number, output", sntrGetNumberOfRProperties(node, nullptr), Rc::NullOutput},
        {"exports, output", sntrReturnExports(node, nullptr), Rc::NullOutput},
        {"first, used", sntrGetFirstRPropertyLocation(node, nullptr, nullptr, nullptr), Rc::NullRUsedOutput},
        {"first, capacity", sntrGetFirstRPropertyLocation(node, nullptr, &out, nullptr), Rc::NullRCapacityOutput},
        {"first, location", sntrGetFirstRPropertyLocation(node, nullptr, &out, &got.size), Rc::NullRRecord},
        {"first", sntrGetFirstRPropertyLocation(node, &got.record, &out, &got.size), Rc::Ok},
        {"next, entry", sntrGetNextRPropertyLocation(node, nullptr, &got.record), Rc::NullOutput},
        {"next, location", sntrGetNextRPropertyLocation(node, table, nullptr), Rc::NullRRecord},
        {"next", sntrGetNextRPropertyLocation(node, table, &(got.record = recordAt(end - 0x90))), Rc::Ok},
        {"next, beyond the area", sntrGetNextRPropertyLocation(node, table, &got.record), Rc::RDamaged},
        {"take, output", sntrGetFreeSpaceOffsetForProperty(node, SNTR_KIND_R, none), Rc::NullOutput},
        {"take, kind", sntrGetFreeSpaceOffsetForProperty(node, SNTR_KIND_BASE_R, &foreign), Rc::BadKind},
        {"free, link", sntrUpdateListOfFreedLLNodes(node, SNTR_KIND_R, none), Rc::NullOutput},
        {"free", sntrUpdateListOfFreedLLNodes(node, SNTR_KIND_R, &foreign),
         isTable ? Rc::RDamaged : Rc::BadBucketCount},
        {"count, output", sntrGetNumberOfFreedLListNodes(node, SNTR_KIND_R, none), Rc::NullFreedCountOutput},
        {"size, output", sntrGetMemoryStackSizeForHashTable(node, SNTR_KIND_R, none), Rc::NullFreedCountOutput},
        {"buckets, output", sntrGetHashTableSizeForRVProperties(node, SNTR_KIND_R, none), Rc::NullBucketCountOutput},
        {"buckets, kind", sntrGetHashTableSizeForRVProperties(node, SNTR_KIND_IR, &out), Rc::BadKind},
        {"three, output", sntrGetHashTableSizeForIRVProperties(node, 1, &out, &out, none), Rc::NullBucketCountsOutput},
        {"three, kind", sntrGetHashTableSizeForIRVProperties(node, SNTR_KIND_R, &out, &out, &out), Rc::BadKind},
        {"buckets", sntrGetHashTableSizeForRVProperties(node, SNTR_KIND_R, &out), Rc::Ok},
        {"tag before kind", check(3, 0x100001, 0), Rc::TagTooLarge},
        {"kind", check(SNTR_OPTION_DEPENDENTS, 0, 0), Rc::BadKind},
        {"R needs nothing", check(SNTR_KIND_R, 0x100000, 0), Rc::Ok},
        {"BaseV has V's maximum", check(SNTR_KIND_BASE_V, 1, 65), Rc::BadValueSize},
        {"IR has its own", check(SNTR_KIND_IR, 1, 0), Rc::IDTooLong},
        {"IV", check(SNTR_KIND_IV, 1, 30), Rc::Ok},
        {"V, output", sntrGetMaxVSizeForVProperties(node, nullptr), Rc::NullVMaxValueOutput},
        {"IR, output", sntrGetMaxIDSizeForIRProperties(node, nullptr), Rc::NullIRMaxIDOutput},
        {"IV, first output", sntrGetMaxIDVSizeForIVProperties(node, nullptr, nullptr), Rc::NullIVMaxIDOutput},
        {"IV, second output", sntrGetMaxIDVSizeForIVProperties(node, &foreign, nullptr), Rc::NullIVMaxValueOutput},
        {"V", sntrGetMaxVSizeForVProperties(node, &foreign), Rc::Ok},
    };
    for (const auto &[name, rc, expected] : rows) EXPECT_RC(rc, expected) << where() << ", " << name;
    EXPECT_EQ(reinterpret_cast<char *>(address), bytes() + record(1) + 16);
    EXPECT_EQ(got.record, recordAt(end)) << "a failing walker moved";
    EXPECT_TRUE(out == isTable && maxID == 20 && maxValue == 30 && foreign == 64)
        << out << maxID << maxValue << foreign;
  }
  createNode(kIV, 0x500, true, SNTR_KIND_R);
  EXPECT_RC(sntrGetMaxIDVSizeForIVProperties(node, &got.out, &got.size), Rc::Ok);
  EXPECT_EQ(got.out + got.size, 0U) << "a node without the kind";
}

}  // namespace
}  // namespace properties_test
