// An archive must survive zolt being killed at any moment of a rewrite:
// SIGKILL cannot be caught, so this checks the order of the steps on disk.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_util.h"

namespace {

using namespace e2e;

// Starts zolt with `args` in `dir`, waits `delay`, kills it with SIGKILL and
// reaps it. Returns true when zolt had already finished on its own.
bool runAndKill(const std::string& dir, const std::vector<std::string>& args,
                std::chrono::microseconds delay) {
  std::vector<std::string> argv{testutil::zoltPath()};
  argv.insert(argv.end(), args.begin(), args.end());
  testutil::Child child = testutil::spawn(argv, dir);
  usleep(static_cast<useconds_t>(delay.count()));
  siginfo_t info{};
  waitid(P_PID, child.pid, &info, WEXITED | WNOHANG | WNOWAIT);
  bool finished = info.si_pid == child.pid;
  if (!finished) kill(child.pid, SIGKILL);
  testutil::finish(child);
  return finished;
}

TEST(CrashConsistency, KilledRewritesNeverLoseTheOldArchive) {
  TempDir dir;
  // Hundreds of members, tens of MB, some of them objects so that the
  // symbol pass runs too.
  std::vector<std::string> files;
  std::mt19937 random(12345);
  for (int i = 0; i < 240; ++i) {
    std::string name = "member_" + std::to_string(i) + ".dat";
    std::string data(80000 + i, static_cast<char>('a' + i % 26));
    for (size_t k = 0; k < data.size(); k += 97) data[k] = static_cast<char>(random());
    writeFile(dir.file(name), data);
    files.push_back(name);
  }
  for (int i = 0; i < 4; ++i)
    files.push_back(testutil::compileC(dir.path(), "object_" + std::to_string(i),
                                       "int global_" + std::to_string(i) + " = 1;\n"));
  std::vector<std::string> create{"rq", "lib.a"};
  create.insert(create.end(), files.begin(), files.end());
  ASSERT_EQ(zolt(create, dir.path()).status, 0);
  const std::string oldBytes = readFile(dir.file("lib.a"));
  ASSERT_GT(oldBytes.size(), 19u * 1000 * 1000);

  // The new archive: one member replaced.
  writeFile(dir.file("member_7.dat"), "replaced");
  ASSERT_EQ(zolt({"rq", "lib.a", "member_7.dat"}, dir.path()).status, 0);
  const std::string newBytes = readFile(dir.file("lib.a"));
  ASSERT_NE(newBytes, oldBytes);

  // How long a whole rewrite takes, so that kills land all over it.
  writeFile(dir.file("lib.a"), oldBytes);
  auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(zolt({"rq", "lib.a", "member_7.dat"}, dir.path()).status, 0);
  auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - start);

  int killedInTheMiddle = 0;
  for (int round = 0; round < 100; ++round) {
    writeFile(dir.file("lib.a"), oldBytes);
    auto delay = std::chrono::microseconds(random() % (whole.count() + 1000));
    bool finished = runAndKill(dir.path(), {"rq", "lib.a", "member_7.dat"}, delay);
    std::vector<std::string> setAside = guidFiles(dir.path());
    ASSERT_LE(setAside.size(), 1u);
    std::string current = testutil::exists(dir.file("lib.a")) ? readFile(dir.file("lib.a")) : "";
    if (setAside.empty()) {
      // Nothing set aside: the archive's name holds a whole archive.
      EXPECT_TRUE(current == oldBytes || current == newBytes)
          << "round " << round << ": " << current.size() << " bytes under the archive's name";
    } else {
      // The old archive is whole under the GUID name, and what lies under
      // the archive's name is the beginning of the new one.
      ++killedInTheMiddle;
      EXPECT_FALSE(finished);
      std::string kept = dir.file(setAside[0]);
      EXPECT_EQ(readFile(kept), oldBytes) << "round " << round;
      EXPECT_EQ(newBytes.compare(0, current.size(), current), 0) << "round " << round;
      // The documented recovery: rename the GUID file back.
      ASSERT_EQ(rename(kept.c_str(), dir.file("lib.a").c_str()), 0);
      EXPECT_EQ(readFile(dir.file("lib.a")), oldBytes);
    }
  }
  // The kills must really have hit writes in progress most of the time.
  EXPECT_GT(killedInTheMiddle, 10);
}

}  // namespace
