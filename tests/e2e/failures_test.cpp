// Damaged archives, failed extractions and failed writes: the message, the
// stream, the status, and what is left on disk afterwards.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>

#include "e2e/e2e_util.h"

namespace {

using namespace e2e;

constexpr long kDate = 1700000000;

struct Failures : ZoltTest {
  // Checks that a failed run left `archive` in `sub` as it was, and
  // exactly `files` beside it.
  void expectUndone(const RunResult& r, const std::string& sub, const std::string& before,
                    const std::vector<std::string>& files) {
    const std::string where = sub.empty() ? dir.path() : dir.file(sub);
    EXPECT_EQ(readFile(where + "/lib.lib"), before);
    EXPECT_EQ(listDir(where), files);
    EXPECT_EQ(r.status, 1);
  }
};

TEST_F(Failures, DamagedArchives) {
  const std::string good = member("ok.o/", 1, "ok");
  const std::string table = "long_name_abcdef.o/\n";  // 20 bytes
  const std::string qv = kMagic + nameTable("<filenames>/", "\nlong_name_abcdef.o/\n\n", 1);
  auto sized = [](const std::string& size) { return rawHeader("a.o/", "1", "0", "0", "0", size); };
  const std::string header = "Cannot read member header", corrupt = "Corrupt member header",
                    name = "Corrupt member name";
  const std::pair<std::string, std::string> cases[] = {
      {kMagic + good + std::string(59, ' '), header},
      {kMagic + std::string("x"), header},
      {kMagic + rawHeader("a.o/", "1", "0", "0", "0", "2", "`x") + "ab", corrupt},
      {kMagic + good + rawHeader("a.o/", "1", "0", "0", "0", "2", "\n`"), corrupt},
      {kMagic + rawHeader("a.o/", "1", "", "0", "0", "2") + "ab", corrupt},  // blank uid
      {kMagic + rawHeader("a.o/", "", "0", "0", "0", "2") + "ab", corrupt},  // blank date
      {kMagic + sized("") + "ab", corrupt},
      {kMagic + sized("x2") + "ab", corrupt},
      {kMagic + good + sized("-60"), corrupt},
      {kMagic + sized("2147483648") + "ab", corrupt},
      {kMagic + sized("9999999999") + "ab", corrupt},
      {kMagic + nameTable("//", table) + member("/20", 1, "ab"), name},  // offset past the table
      {kMagic + nameTable("//", table) + member("/99999999999999", 1, "ab"), name},
      {qv + member("long_name_abcdX/", 1, "ab", 1), name},  // mismatch
      {qv + member("LONG_name_abcde/", 1, "ab", 1), name},  // differs in case
      {qv + member("long_name_abcde/", 1, "ab", 22), name},  // offset past the table
      {qv + member("long_name_abcde/", 1, "ab", -1), name},
      {kMagic + testutil::header("//", 0, 0, 100) + table, "Cannot read name table"},
  };
  for (const auto& [bytes, message] : cases) {
    writeFile(dir.file("lib.lib"), bytes);
    make("a.o", "new", kDate);
    for (const char* command : {"t", "x", "r"}) {
      SCOPED_TRACE(testing::PrintToString(bytes) + " with " + command);
      EXPECT_RUN(z({command, "lib", "a.o"}), "", errLine(message + ": 'lib.lib'"), 1);
      EXPECT_EQ(read("lib.lib"), bytes);
      EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"a.o", "lib.lib"}));
    }
  }
}

TEST_F(Failures, ArchivesThatAreNearlyValid) {
  // A size that runs past the end of the file is not noticed while listing.
  const std::string huge = kMagic + rawHeader("huge.o/", "0", "0", "0", "0", "2147483647") + "ab";
  writeFile(dir.file("lib.lib"), huge);
  EXPECT_RUN(z({"t", "lib"}),
             kListHead + listLine(2147483647, "Thu Jan  1 00:00:00 1970", "huge.o"), "", 0);
  // Extracting it fails while reading, after the target was created.
  EXPECT_RUN(z({"x", "lib"}), "", errLine("read error"), 1);
  EXPECT_TRUE(exists(dir.file("huge.o")));
  // Rewriting it is refused; the archive stays.
  EXPECT_RUN(z({"d", "lib", "none.o"}), building("lib.lib"),
             errLine("Member file too large: 'huge.o'"), 1);
  EXPECT_EQ(read("lib.lib"), huge);
  // A smaller member that is cut short fails while its data is copied.
  const std::string cut = kMagic + rawHeader("cut.o/", "0", "0", "0", "0", "1000") + "ab";
  writeFile(dir.file("lib.lib"), cut);
  EXPECT_RUN(z({"dq", "lib", "none.o"}), "", errLine("Error writing archive"), 1);
  EXPECT_EQ(read("lib.lib"), cut);
  EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"huge.o", "lib.lib"}));
  // Replacing and adding read any existing file as an archive: one of 8
  // bytes or fewer has no members and is replaced...
  make("a.o", "a", kDate);
  writeFile(dir.file("tiny.lib"), "tiny");
  EXPECT_RUN(z({"r", "tiny", "a.o"}), created("tiny.lib"), "", 0);
  EXPECT_EQ(read("tiny.lib"), kMagic + member("a.o/", kDate, "a"));
  // ...while a longer one that is no archive fails at its first header.
  writeFile(dir.file("text.lib"), "this is plain text, not an archive\n");
  EXPECT_RUN(z({"a", "text", "a.o"}), "", errLine("Cannot read member header: 'text.lib'"), 1);
  EXPECT_EQ(read("text.lib"), "this is plain text, not an archive\n");
  EXPECT_TRUE(guidFiles(dir.path()).empty());
}

TEST_F(Failures, ExtractionErrors) {
  make("a.o", "aaa", kDate);
  make("b.o", "bb", kDate);
  make("full", "to the full device", kDate);
  ASSERT_EQ(z({"rq", "lib", "a.o", "b.o", "full"}).status, 0);
  mkdir("out");
  // The run stops at the first target that cannot be created; earlier
  // targets stay extracted.
  EXPECT_RUN(z({"xv", "lib", "out/a.o", "nodir/b.o"}), "  ==>  extract 'out/a.o'\n",
             errLine("cannot create 'nodir/b.o'"), 1);
  EXPECT_EQ(read("out/a.o"), "aaa");
  EXPECT_RUN(z({"x", "lib", "/dev/full"}), "", errLine("write error"), 1);
  // A target that is a directory cannot be created.
  EXPECT_RUN(z({"x", "lib", "out/../out/"}), "", errLine("'out/../out/' not found"), 1);
  mkdir("out/b.o");
  EXPECT_RUN(z({"x", "lib", "out/b.o"}), "", errLine("cannot create 'out/b.o'"), 1);
}

TEST_F(Failures, MemberTooLargeOrUnreadable) {
  make("a.o", "a", kDate);
  mkdir("d.o");
  ASSERT_EQ(testutil::shell("truncate -s 100000000 big.o", dir.path()).status, 0);
  // A new archive: nothing is left behind.
  EXPECT_RUN(z({"r", "lib", "a.o", "big.o"}), created("lib.lib"),
             errLine("Member file too large: 'big.o'"), 1);
  EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"a.o", "big.o", "d.o"}));
  // An existing archive is back under its name.
  ASSERT_EQ(z({"rq", "lib", "a.o"}).status, 0);
  const std::string before = read("lib.lib");
  RunResult r = z({"rq", "lib", "big.o"});
  EXPECT_EQ(r.err, errLine("Member file too large: 'big.o'"));
  expectUndone(r, "", before, {"a.o", "big.o", "d.o", "lib.lib"});
  r = z({"aq", "lib", "d.o"});
  EXPECT_EQ(r.err, errLine("Cannot open file: 'd.o'"));
  expectUndone(r, "", before, {"a.o", "big.o", "d.o", "lib.lib"});
}

TEST_F(Failures, FileSizeLimitUndoesTheWrite) {
  std::string data(3 << 20, 'x');
  for (size_t i = 0; i < data.size(); i += 4096) data[i] = static_cast<char>(i >> 12);
  make("large.o", data, kDate);
  make("small.o", "s", kDate);
  ASSERT_EQ(z({"rq", "lib", "large.o"}).status, 0);
  const std::string before = read("lib.lib");
  ASSERT_EQ(before, kMagic + member("large.o/", kDate, data));
  // 2048 blocks of 512 bytes: 1 MiB, far less than the archive.
  RunResult r = zoltAfter("ulimit -f 2048", {"r", "lib", "small.o"}, dir.path());
  EXPECT_RUN(r, building("lib.lib"), errLine("Error writing archive"), 1);
  expectUndone(r, "", before, {"large.o", "lib.lib", "small.o"});
  // The same with the limit reached while the new member is copied.
  r = zoltAfter("ulimit -f 2048", {"a", "other", "large.o"}, dir.path());
  EXPECT_EQ(r.err, errLine("Error writing archive"));
  expectUndone(r, "", before, {"large.o", "lib.lib", "small.o"});
}

TEST_F(Failures, NewArchiveCannotBeCreated) {
  mkdir("sub");
  make("a.o", "a", kDate);
  ASSERT_EQ(z({"rq", "sub/lib", "a.o"}).status, 0);
  const std::string before = read("sub/lib.lib");
  // With no descriptor left for the new file, the old archive has already
  // been set aside: the message names the set-aside file, in the archive's
  // directory and with backslashes. Inherited descriptors are closed first.
  const std::string fourDescriptors = "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n 4";
  RunResult r = zoltAfter(fourDescriptors, {"r", "sub/lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, building("sub/lib.lib"));
  static const std::regex message(
      R"(  -->  error: Cannot create archive: 'sub\\\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\}'
)");
  EXPECT_TRUE(std::regex_match(r.err, message)) << r.err;
  expectUndone(r, "sub", before, {"lib.lib"});
  // The same through an absolute path.
  r = zoltAfter(fourDescriptors, {"r", dir.file("sub/lib"), "a.o"}, dir.path());
  std::string expectedDir = dir.file("sub/");
  for (char& c : expectedDir)
    if (c == '/') c = '\\';
  EXPECT_EQ(r.err.rfind(std::string(kErr) + "Cannot create archive: '" + expectedDir + "{", 0), 0u)
      << r.err;
  expectUndone(r, "sub", before, {"lib.lib"});
}

TEST_F(Failures, ReadOnlyDirectory) {
  // The superuser writes anywhere: run zolt as nobody in that case.
  std::string prefix = "true";
  if (geteuid() == 0) {
    if (!testutil::haveTool("setpriv")) GTEST_SKIP() << "running as root without setpriv";
    prefix = "exec setpriv --reuid=65534 --regid=65534 --clear-groups \"$0\" \"$@\"";
    chmod(dir.path().c_str(), 0755);
  }
  testutil::shell("mkdir sub && chmod 777 sub", dir.path());
  make("a.o", "a", kDate);
  chmod(dir.file("a.o").c_str(), 0644);
  ASSERT_EQ(zoltAfter(prefix, {"rq", "sub/lib", "a.o"}, dir.path()).status, 0);
  const std::string before = read("sub/lib.lib");
  chmod(dir.file("sub").c_str(), 0555);
  RunResult r = zoltAfter(prefix, {"r", "sub/lib", "a.o"}, dir.path());
  EXPECT_RUN(r, building("sub/lib.lib"), errLine("Cannot create new archive"), 1);
  expectUndone(r, "sub", before, {"lib.lib"});
  // A new archive in a read-only directory names itself.
  EXPECT_RUN(zoltAfter(prefix, {"r", "sub/new", "a.o"}, dir.path()), created("sub/new.lib"),
             errLine("Cannot create archive: 'sub/new.lib'"), 1);
  EXPECT_EQ(listDir(dir.file("sub")), std::vector<std::string>{"lib.lib"});
}

// Starts zolt (as `argv0`) on `args` in `dir`.
testutil::Child start(const std::string& dir, const std::string& argv0,
                      const std::vector<std::string>& args) {
  std::vector<std::string> argv{argv0};
  argv.insert(argv.end(), args.begin(), args.end());
  return testutil::spawn(argv, dir, testutil::zoltPath());
}

TEST_F(Failures, SignalsWhileReadingACommandFile) {
  const std::string path = testutil::zoltPath();
  const std::pair<int, std::string> cases[] = {
      {SIGTERM, path}, {SIGINT, "my-zolt"}, {SIGQUIT, "./zolt"}};
  for (const auto& [signo, argv0] : cases) {
    // Opening the writing end of a FIFO waits for zolt to open the reading
    // end, which it does after its handlers are installed.
    std::string fifo = dir.file("cmds");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    testutil::Child child = start(dir.path(), argv0, {"@cmds"});
    int writer = open(fifo.c_str(), O_WRONLY);
    EXPECT_GE(writer, 0);
    EXPECT_EQ(write(writer, "r lib a", 7), 7);
    kill(child.pid, signo);
    EXPECT_RUN(testutil::finish(child), "",
               signo == SIGTERM ? "[" + path + " received a terminate signal]\n"
                                : "[" + argv0 + " forced exit]\n",
               2);
    close(writer);
    unlink(fifo.c_str());
  }
  EXPECT_TRUE(listDir(dir.path()).empty());
}

TEST_F(Failures, SignalDuringAWriteUndoesIt) {
  // A rewrite long enough to be caught in the middle: 160 members, 40 MB.
  std::vector<std::string> args{"rq", "lib"};
  for (int i = 0; i < 160; ++i) {
    args.push_back("m" + std::to_string(i) + ".dat");
    writeFile(dir.file(args.back()), std::string(250000, static_cast<char>('a' + i % 26)));
  }
  ASSERT_EQ(z(args).status, 0);
  const std::string before = read("lib.lib");
  const std::vector<std::string> listing = listDir(dir.path());
  for (int signo : {SIGTERM, SIGINT}) {
    bool caught = false;
    for (int attempt = 0; attempt < 20 && !caught; ++attempt) {
      testutil::Child child = start(dir.path(), "zolt", {"rq", "lib", "m7.dat"});
      // The signal goes in once the old archive has been set aside.
      for (int i = 0; i < 25000 && !caught; ++i) {
        caught = !guidFiles(dir.path()).empty();
        if (!caught) usleep(200);
      }
      if (caught) kill(child.pid, signo);
      RunResult r = testutil::finish(child);
      if (!caught) continue;  // it finished first; try again
      // Standard output is a pipe here, and an interrupt ends the process
      // without flushing it, so the status lines are not looked at.
      EXPECT_EQ(r.err, signo == SIGTERM ? "[zolt received a terminate signal]\n"
                                        : "[zolt forced exit]\n");
      EXPECT_EQ(r.status, 2);
      // The old archive is back under its name; nothing else is left.
      EXPECT_EQ(read("lib.lib"), before);
      EXPECT_EQ(listDir(dir.path()), listing);
    }
    EXPECT_TRUE(caught) << "no write was caught in the middle";
  }
}

}  // namespace
