// The exclusive latch, the utilities, and what an exported call leaves in the trace and the log.
#include <gtest/gtest.h>
#include <oss/fault.h>
#include <oss/identity.h>
#include <oss/log.h>
#include <oss/trace.h>
#include <sntr/frame.h>
#include <sntr/latches.h>
#include <unistd.h>

#include <fstream>

#include "layout/functions.h"
#include "support/codes.h"

namespace {

using sntr::Rc;
using support::named;

TEST(ExclusiveLatch, IsHeldByOneThreadAndRefusesWhatIsNoLatch) {
  alignas(8) unsigned char bytes[0x88] = {};
  for (auto call : {sntrEnterELCriticalSection, sntrExitELCriticalSection}) {
    EXPECT_RC(call(nullptr), Rc::NullExclusiveLatch);
    EXPECT_RC(call(bytes), Rc::BadLatchVersion);
  }
  EXPECT_RC(sntrInitializeExsLatch(nullptr, 0), Rc::NullExclusiveLatch);
  const std::uint64_t wide = SNTR_VERSION | std::uint64_t{1} << 32;
  EXPECT_RC(sntrInitializeExsLatch(bytes, wide), Rc::BadLatchVersion) << "the whole argument counts";
  ossFaultArm(OSSFaultLatchInit, 1);
  EXPECT_RC(sntrInitializeExsLatch(bytes, SNTR_VERSION), Rc::LatchFailed);
  EXPECT_RC(sntrEnterELCriticalSection(bytes), Rc::BadLatchVersion) << "stamped, and no latch";
  EXPECT_RC(sntrInitializeExsLatch(bytes, SNTR_VERSION), Rc::Ok);
  EXPECT_RC(sntrEnterELCriticalSection(bytes), Rc::Ok);
  EXPECT_RC(sntrEnterELCriticalSection(bytes), Rc::LatchFailed);
  EXPECT_RC(sntrExitELCriticalSection(bytes), Rc::Ok);
  EXPECT_RC(sntrExitELCriticalSection(bytes), Rc::LatchFailed);
}

TEST(Utilities, ReverseBytesPrintCodesAndTellTheThread) {
  for (std::string text : {"", "a", "abc", "abcd"}) {
    const std::string reversed(text.rbegin(), text.rend());
    sntrReverseByteSequence(reinterpret_cast<std::uint8_t *>(text.data()), text.size());
    EXPECT_EQ(text, reversed);
  }
  char text[80];
  EXPECT_RC(sntrPrintrc(code(Rc::NullNode), text, sizeof(text)), Rc::Ok);
  EXPECT_STREQ(text, "SNTR_RC_NULL_NODE (0x900000de): the node is null");
  EXPECT_RC(sntrPrintrc(code(Rc::NullNode), text, 9), Rc::OssTruncated);
  EXPECT_EQ(ossThreadIDAsInt(), ossThreadID());
}

TEST(Utilities, AFailureIsTracedOnceAndLoggedWhereItIsTheStorageManagersArgument) {
  std::string logged;
  const OSSLogSink sink = [](void *context, std::uint32_t fn, std::uint32_t rc, std::uint32_t, std::uint32_t,
                             const char *) {
    *static_cast<std::string *>(context) += std::string(sntr::findFunctionName(fn)) + " " + named(rc) + "; ";
  };
  const std::string path = ::testing::TempDir() + "sntr_trace_" + std::to_string(getpid());
  ossLogSetSink(sink, &logged);
  ASSERT_EQ(ossTraceOn(path.c_str()), 0u);
  EXPECT_NE(sntrSetConcurrencyModel(nullptr, 0), 0u);
  EXPECT_NE(sntrEnterELCriticalSection(nullptr), 0u);
  ASSERT_EQ(ossTraceOff(), 0u);
  ossLogSetSink(nullptr, nullptr);
  EXPECT_EQ(logged, "sntrEnterELCriticalSection " + named(Rc::NullExclusiveLatch) + "; ");
  std::ifstream file(path);
  std::string traced;
  for (std::string time, thread, rest; file >> time >> thread && std::getline(file, rest);) traced += rest + "\n";
  EXPECT_EQ(traced.substr(0, traced.find(" sntrEnter")),
            " sntrSetConcurrencyModel entry 0 1000000\n"
            " sntrSetConcurrencyModel error at probe 10: " +
                named(Rc::NullNode) + "\n sntrSetConcurrencyModel exit " + named(Rc::NullNode) + "\n");
  std::remove(path.c_str());
}

}  // namespace
