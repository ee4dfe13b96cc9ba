// Segments, as files that anybody can see and tamper with.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "process.h"
#include "support/segments.h"

namespace oss_test {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

long openFiles() { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{}); }

class Segment : public testing::Test {
 protected:
  Segment() {
    parameters_ = {OSS_IPC_VERSION, support::newKey(), 0, 5000, nullptr, 0640, 0};
    path_ = support::fileOf(parameters_.key);
  }
  ~Segment() override { fs::remove_all(path_); }

  uint32_t create() { return segment_.create(&parameters_); }
  uint32_t attach(OSSHIPCMemory &object) { return object.attach(&parameters_.key, nullptr); }

  static char *addressOf(OSSHIPCMemory &object) {
    void *address = nullptr;
    EXPECT_RC(object.getAddress(&address), Rc::Ok);
    return static_cast<char *>(address);
  }

  OSSIPCMemoryInfo info() {
    OSSIPCMemoryInfo info{};
    EXPECT_RC(segment_.getInfo(&info), Rc::Ok);
    return info;
  }

  OSSIPCMemoryCreateParam parameters_;
  std::string path_;
  OSSHIPCMemory segment_;
};

TEST_F(Segment, IsSharedAtDifferentAddresses) {
  const long before = openFiles();
  ASSERT_RC(create(), Rc::Ok);
  OSSHIPCMemory second;
  EXPECT_FALSE(second.isAttached());
  ASSERT_RC(attach(second), Rc::Ok);
  EXPECT_TRUE(second.isAttached());
  EXPECT_EQ(openFiles(), before);

  char *one = addressOf(segment_);
  char *two = addressOf(second);
  EXPECT_NE(one, two);
  for (size_t i = 0; i < 5000; ++i) ASSERT_EQ(one[i], 0) << i;
  std::strcpy(one + 4990, "written");
  EXPECT_STREQ(two + 4990, "written");
  EXPECT_RC(second.detach(), Rc::Ok);
  EXPECT_EQ(Child([&] {
              return attach(second) == 0 && std::strcmp(addressOf(second) + 4990, "written") == 0 ? 0 : 1;
            }).result(),
            0);
  EXPECT_RC(segment_.destroy(), Rc::Ok);
  EXPECT_FALSE(fs::exists(path_));
}

TEST_F(Segment, ReservesItsMemoryAtOnce) {
  parameters_.size = 40 << 20;
  struct statvfs before, after;
  ASSERT_EQ(statvfs("/dev/shm", &before), 0);
  ASSERT_RC(create(), Rc::Ok);
  ASSERT_EQ(statvfs("/dev/shm", &after), 0);
  struct stat status;
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(static_cast<uint64_t>(status.st_size), parameters_.size);
  EXPECT_GE(static_cast<uint64_t>(status.st_blocks) * 512, parameters_.size);
}

TEST_F(Segment, RefusesParameters) {
  using P = OSSIPCMemoryCreateParam;
  const struct {
    const char *name;
    void (*spoil)(P &);
    Rc want;
  } rows[] = {
      {"version", [](P &p) { p.version ^= 1; }, Rc::OssBadArgument},
      {"no size", [](P &p) { p.size = 0; }, Rc::OssBadArgument},
      {"size above 2^46", [](P &p) { p.size = (uint64_t{1} << 46) + 1; }, Rc::OssBadArgument},
      {"size 2^64-1", [](P &p) { p.size = ~uint64_t{0}; }, Rc::OssBadArgument},
      {"mode", [](P &p) { p.accessMode = 01000; }, Rc::OssBadArgument},
      {"more than the filesystem has", [](P &p) { p.size = uint64_t{1} << 46; }, Rc::OssNoSpace},
  };
  for (const auto &row : rows) {
    P parameters = parameters_;
    row.spoil(parameters);
    EXPECT_RC(segment_.create(&parameters), row.want) << row.name;
    EXPECT_FALSE(segment_.isAttached()) << row.name;
    EXPECT_FALSE(fs::exists(path_)) << row.name;
  }
  EXPECT_RC(segment_.create(nullptr), Rc::OssBadArgument);
  EXPECT_RC(segment_.attach(nullptr, nullptr), Rc::OssBadArgument);
  EXPECT_RC(create(), Rc::Ok) << "after all the failures";
}

TEST_F(Segment, FileSizeLimitIsAFailureAndNoSignal) {
  Child limited([&] {
    const rlimit limit = {4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    return create() == sntr::code(Rc::OssNoSpace) && !fs::exists(path_) ? 0 : 1;
  });
  EXPECT_EQ(limited.result(), 0);
}

TEST_F(Segment, ModeIsTheOneAskedForWhateverTheUmask) {
  for (const mode_t mask : {0U, 0022U, 0777U}) {
    for (const uint64_t mode : {0600U, 0660U, 0666U, 0444U}) {
      parameters_.accessMode = mode;
      const mode_t former = umask(mask);
      EXPECT_RC(create(), Rc::Ok) << mask;
      umask(former);
      EXPECT_EQ(info().mode, mode) << "umask " << mask;
      EXPECT_EQ(info().owner, geteuid());
      EXPECT_EQ(info().size, 5000U);
      EXPECT_RC(segment_.destroy(), Rc::Ok);
    }
  }
}

TEST_F(Segment, NeedsToBeAttachedOnceAndOnlyOnce) {
  void *address = nullptr;
  OSSIPCMemoryInfo info;
  EXPECT_RC(segment_.getAddress(&address), Rc::OssNotAttached);
  EXPECT_RC(segment_.getInfo(&info), Rc::OssNotAttached);
  EXPECT_RC(segment_.authorize(0, 0, 0600), Rc::OssNotAttached);
  EXPECT_RC(segment_.detach(), Rc::OssNotAttached);
  EXPECT_RC(segment_.destroy(), Rc::OssNotAttached);
  EXPECT_RC(attach(segment_), Rc::OssNotFound);
  ASSERT_RC(create(), Rc::Ok);
  EXPECT_RC(create(), Rc::OssAlreadyAttached);
  EXPECT_RC(attach(segment_), Rc::OssAlreadyAttached);
  EXPECT_RC(segment_.getAddress(nullptr), Rc::OssBadArgument);
  EXPECT_RC(segment_.getInfo(nullptr), Rc::OssBadArgument);
  EXPECT_RC(segment_.authorize(0, 0, 010000), Rc::OssBadArgument);
  OSSHIPCMemory second;
  EXPECT_RC(second.create(&parameters_), Rc::OssExists);
}

TEST_F(Segment, RefusesWhatIsNoSegment) {
  const struct {
    const char *name;
    std::function<void(const char *)> make;
  } rows[] = {
      {"link", [](const char *path) { fs::create_symlink("/proc/self/exe", path); }},
      {"directory", [](const char *path) { fs::create_directory(path); }},
      {"pipe", [](const char *path) { mkfifo(path, 0600); }},
      {"empty file", [](const char *path) { close(open(path, O_CREAT | O_WRONLY, 0600)); }},
      {"file too large",
       [](const char *path) {
         close(open(path, O_CREAT | O_WRONLY, 0600));
         ASSERT_EQ(truncate(path, (off_t{1} << 46) + 1), 0);
       }},
  };
  for (const auto &row : rows) {
    row.make(path_.c_str());
    EXPECT_RC(attach(segment_), Rc::OssNotASegment) << row.name;
    EXPECT_RC(create(), Rc::OssExists) << row.name;
    EXPECT_FALSE(segment_.isAttached()) << row.name;
    EXPECT_TRUE(fs::remove(path_)) << row.name;
  }
}

TEST_F(Segment, TakesTheAddressAsAHint) {
  ASSERT_RC(create(), Rc::Ok);
  char *taken = addressOf(segment_);
  OSSHIPCMemory second;
  ASSERT_RC(second.attach(&parameters_.key, taken), Rc::Ok);
  char *free = addressOf(second);
  EXPECT_NE(free, taken);
  ASSERT_RC(second.detach(), Rc::Ok);
  ASSERT_RC(second.attach(&parameters_.key, free), Rc::Ok);
  EXPECT_EQ(addressOf(second), free);
  EXPECT_RC(second.detach(), Rc::Ok);
}

TEST_F(Segment, DeletedObjectLeavesTheMemory) {
  auto object = std::make_unique<OSSHIPCMemory>();
  ASSERT_RC(object->create(&parameters_), Rc::Ok);
  char *address = addressOf(*object);
  object.reset();
  std::strcpy(address, "still here");
  ASSERT_RC(attach(segment_), Rc::Ok);
  EXPECT_STREQ(addressOf(segment_), "still here");
}

TEST_F(Segment, LeavesAnotherSegmentOfTheSameNameAlone) {
  ASSERT_RC(create(), Rc::Ok);
  fs::remove(path_);
  EXPECT_RC(segment_.authorize(OSS_IPC_KEEP_ID, OSS_IPC_KEEP_ID, 0600), Rc::OssNotFound);
  EXPECT_EQ(info().size, 5000U);
  OSSHIPCMemory newer;
  parameters_.size = 9000;
  ASSERT_RC(newer.create(&parameters_), Rc::Ok);
  EXPECT_EQ(info().size, 5000U);
  EXPECT_RC(segment_.authorize(OSS_IPC_KEEP_ID, OSS_IPC_KEEP_ID, 0666), Rc::OssReplaced);
  EXPECT_RC(segment_.destroy(), Rc::OssReplaced);
  EXPECT_FALSE(segment_.isAttached());
  ASSERT_TRUE(fs::exists(path_));
  ASSERT_RC(attach(segment_), Rc::Ok);
  EXPECT_EQ(info().size, 9000U);
  EXPECT_EQ(info().mode, 0640U);
  EXPECT_RC(newer.destroy(), Rc::Ok);
  EXPECT_RC(segment_.destroy(), Rc::Ok) << "the name is gone, which is what was wanted";
}

TEST_F(Segment, TellsWhatItIsLikeNow) {
  ASSERT_RC(create(), Rc::Ok);
  OSSHIPCMemory second;
  ASSERT_RC(attach(second), Rc::Ok);
  ASSERT_RC(second.authorize(OSS_IPC_KEEP_ID, getegid(), 0604), Rc::Ok);
  EXPECT_EQ(info().mode, 0604U);
  EXPECT_EQ(info().group, getegid());
  ASSERT_EQ(truncate(path_.c_str(), 100), 0);
  EXPECT_EQ(info().size, 100U);
  ASSERT_EQ(truncate(path_.c_str(), 70000), 0);
  EXPECT_EQ(info().size, 5000U) << "no more than what is mapped";
  EXPECT_RC(second.detach(), Rc::Ok);
}

// What a failure leaves for ossGetLastSystemError(), and in the trace.
TEST_F(Segment, SystemsReasonIsKept) {
  const std::string trace = testing::TempDir() + "oss_reasons_" + std::to_string(getpid());
  const auto make = [&](OSSIPCMemoryCreateParam parameters) { return OSSHIPCMemory().create(&parameters); };
  const auto tooLarge = [&] {
    OSSIPCMemoryCreateParam parameters = parameters_;
    parameters.size = uint64_t{1} << 46;
    return make(parameters);
  };
  const struct {
    const char *name;
    std::function<uint32_t()> call;
    int want;
    std::string traced;
  } rows[] = {
      {"missing", [&] { return attach(segment_); }, ENOENT,
       ": OssNotFound 0x90000044, no segment has this key, ENOENT"},
      {"no room", tooLarge, ENOSPC, ", ENOSPC"},
      {"created", [&] { return create(); }, ENOSPC, ""},
      {"exists", [&] { return make(parameters_); }, EEXIST,
       ": OssExists 0x9000004a, a segment with this key exists, EEXIST"},
      {"bad argument", [&] { return segment_.getAddress(nullptr); }, 0, ""},
      {"memory", [&] { return _ossMemAlloc(~uint64_t{0}, "test", 1) == nullptr ? 1U : 0U; }, ENOMEM, " was refused "},
      {"trace", [&] { return ossTraceOn("/nowhere/file"); }, ENOENT, ""},
      {"empty", [&] { return fs::resize_file(path_, 0), OSSHIPCMemory().attach(&parameters_.key, nullptr); }, 0,
       ": OssNotASegment 0x90000045, what the key leads to is not a regular file of plausible size, too short: empty"},
  };
  int reason = -1;
  EXPECT_RC(ossGetLastSystemError(nullptr), Rc::OssBadArgument);
  for (const auto &row : rows) {
    ossTraceOn(trace.c_str());
    row.call();
    ossTraceOff();
    EXPECT_RC(ossGetLastSystemError(&reason), Rc::Ok);
    EXPECT_EQ(reason, row.want) << row.name;
    std::thread([&] { ossGetLastSystemError(&reason); }).join();
    EXPECT_EQ(reason, 0) << row.name << ", on another thread";
    std::ifstream file(trace);
    std::string line;
    std::getline(file, line);
    EXPECT_TRUE(row.traced.empty() ? line.empty() : line.find(row.traced) != line.npos) << row.name << ": " << line;
    fs::remove(trace);
  }
}

TEST_F(Segment, PermissionIsAsked) {
  parameters_.accessMode = 0400;
  ASSERT_RC(create(), Rc::Ok);
  Child stranger([&] {
    if (geteuid() == 0 && setuid(kNobody) != 0) return 1;
    OSSHIPCMemory second;
    int reason = 0;
    if (attach(second) != sntr::code(Rc::OssNoPermission) || ossGetLastSystemError(&reason) != 0) return 2;
    if (reason != EACCES) return 5;
    if (getuid() != kNobody) return 0;  // its owner, who may do what follows
    if (segment_.authorize(OSS_IPC_KEEP_ID, OSS_IPC_KEEP_ID, 0666) != sntr::code(Rc::OssNoPermission)) return 3;
    return segment_.destroy() == sntr::code(Rc::OssNoPermission) && !segment_.isAttached() ? 0 : 4;
  });
  EXPECT_EQ(stranger.result(), 0);
  EXPECT_EQ(info().mode, 0400U);
}

}  // namespace
}  // namespace oss_test
