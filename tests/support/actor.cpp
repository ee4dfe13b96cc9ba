#include "support/actor.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace support {

namespace {

constexpr int kPartsLine = 3;       // the descriptor of a part's end
constexpr int kPatienceMs = 60000;  // beyond every latch's wait limit
constexpr const char *kPartFlag = "--part";

std::map<std::string, Part> &parts() {
  static std::map<std::string, Part> known;
  return known;
}

bool readable(int line, int milliseconds) {
  pollfd entry{line, POLLIN, 0};
  return poll(&entry, 1, milliseconds) == 1;
}

// A byte, not the end of the other side.
bool hears(int line) {
  char byte = 0;
  return recv(line, &byte, 1, 0) == 1;
}

void tells(int line) {
  const char byte = 1;
  static_cast<void>(send(line, &byte, 1, MSG_NOSIGNAL));
}

}  // namespace

PartName::PartName(const char *name, Part part) { parts().emplace(name, part); }

int runTestsOrPart(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc != 8 || std::string(argv[1]) != kPartFlag) return RUN_ALL_TESTS();
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const auto number = [&](int i) { return std::strtoull(argv[i], nullptr, 10); };
  parts().at(argv[2])(Task{number(3), number(4), number(5), number(6), number(7)});
  return testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed() ? 1 : 0;
}

void tellParent() { tells(kPartsLine); }
bool waitForParent() { return hears(kPartsLine); }
bool parentHasTold() { return readable(kPartsLine, 0); }

Actor::Actor(const char *part, const Task &task) {
  int ends[2] = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  line_ = ends[0];
  std::vector<std::string> texts{"/proc/self/exe", kPartFlag, part};
  for (const std::uint64_t number : {task.keyHigh, task.keyLow, task.base, task.index, task.amount}) {
    texts.push_back(std::to_string(number));
  }
  std::vector<char *> arguments;
  for (std::string &text : texts) arguments.push_back(text.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], kPartsLine);
  EXPECT_EQ(posix_spawn(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
}

Actor::~Actor() {
  kill();
  close(line_);
}

void Actor::tell() const { tells(line_); }

bool Actor::waits() const { return readable(line_, kPatienceMs) && hears(line_); }

void Actor::kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

int Actor::result() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
  int status = 0;
  while (waitpid(pid_, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > end) {
      kill();
      return -SIGKILL;
    }
    usleep(500);
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace support
