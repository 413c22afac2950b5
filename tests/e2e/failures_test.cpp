// Damaged archives, failed extractions and failed writes: the message, the
// stream, the status, and what is left on disk afterwards.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>

#include "e2e/e2e_util.h"

namespace {

using namespace e2e;
using testutil::exists;
using testutil::listDir;
using testutil::readFile;
using testutil::TempDir;
using testutil::writeFile;

constexpr long kDate = 1700000000;

void expectArchiveError(const RunResult& r, const std::string& message) {
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, std::string(kErr) + message + "\n");
  EXPECT_EQ(r.status, 1);
}

TEST(Failures, DamagedArchives) {
  TempDir dir;
  struct Case {
    std::string what;
    std::string bytes;
    std::string message;
  };
  const std::string good = member("ok.o/", 1, "ok");
  const std::string table = "long_name_abcdef.o/\n";  // 20 bytes
  const std::string qvTable = "\nlong_name_abcdef.o/\n\n";  // 22 bytes
  const std::vector<Case> cases = {
      {"short header", kMagic + good + std::string(59, ' '), "Cannot read member header"},
      {"one byte", kMagic + std::string("x"), "Cannot read member header"},
      {"bad terminator", kMagic + rawHeader("a.o/", "1", "0", "0", "0", "2", "`x") + "ab",
       "Corrupt member header"},
      {"terminator reversed", kMagic + good + rawHeader("a.o/", "1", "0", "0", "0", "2", "\n`"),
       "Corrupt member header"},
      {"blank uid", kMagic + rawHeader("a.o/", "1", "", "0", "0", "2") + "ab",
       "Corrupt member header"},
      {"blank date", kMagic + rawHeader("a.o/", "", "0", "0", "0", "2") + "ab",
       "Corrupt member header"},
      {"blank size", kMagic + rawHeader("a.o/", "1", "0", "0", "0", "") + "ab",
       "Corrupt member header"},
      {"size not a number", kMagic + rawHeader("a.o/", "1", "0", "0", "0", "x2") + "ab",
       "Corrupt member header"},
      {"negative size", kMagic + good + rawHeader("a.o/", "1", "0", "0", "0", "-60"),
       "Corrupt member header"},
      {"size too large", kMagic + rawHeader("a.o/", "1", "0", "0", "0", "2147483648") + "ab",
       "Corrupt member header"},
      {"size far too large", kMagic + rawHeader("a.o/", "1", "0", "0", "0", "9999999999") + "ab",
       "Corrupt member header"},
      {"posix offset past table", kMagic + nameTable("//", table) + member("/20", 1, "ab"),
       "Corrupt member name"},
      {"posix offset huge", kMagic + nameTable("//", table) + member("/99999999999999", 1, "ab"),
       "Corrupt member name"},
      {"qv name mismatch",
       kMagic + nameTable("<filenames>/", qvTable, 1) + member("long_name_abcdX/", 1, "ab", 1),
       "Corrupt member name"},
      {"qv name differs in case",
       kMagic + nameTable("<filenames>/", qvTable, 1) + member("LONG_name_abcde/", 1, "ab", 1),
       "Corrupt member name"},
      {"qv offset past table",
       kMagic + nameTable("<filenames>/", qvTable, 1) + member("long_name_abcde/", 1, "ab", 22),
       "Corrupt member name"},
      {"qv negative uid",
       kMagic + nameTable("<filenames>/", qvTable, 1) + member("long_name_abcde/", 1, "ab", -1),
       "Corrupt member name"},
      {"name table cut short", kMagic + header("//", 0, 0, 100) + table,
       "Cannot read name table"},
  };
  for (const auto& c : cases) {
    writeFile(dir.file("lib.lib"), c.bytes);
    makeFile(dir.file("a.o"), "new", kDate);
    for (const char* command : {"t", "x", "r"}) {
      RunResult r = zolt({command, "lib", "a.o"}, dir.path());
      SCOPED_TRACE(c.what + " with " + command);
      expectArchiveError(r, c.message + ": 'lib.lib'");
      EXPECT_EQ(readFile(dir.file("lib.lib")), c.bytes);
      EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"a.o", "lib.lib"}));
    }
  }
}

TEST(Failures, ArchivesThatAreNearlyValid) {
  TempDir dir;
  // A size that runs past the end of the file is not noticed while listing.
  writeFile(dir.file("lib.lib"),
            kMagic + rawHeader("huge.o/", "0", "0", "0", "0", "2147483647") + "ab");
  RunResult r = zolt({"t", "lib"}, dir.path());
  EXPECT_EQ(r.out, std::string(kListHead) + "  2147483647   Thu Jan  1 00:00:00 1970    huge.o\n");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.status, 0);
  // Extracting it fails while reading, after the target was created.
  r = zolt({"x", "lib"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, std::string(kErr) + "read error\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(exists(dir.file("huge.o")));
  // Rewriting it is refused; the archive stays.
  const std::string huge = readFile(dir.file("lib.lib"));
  r = zolt({"d", "lib", "none.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "Member file too large: 'huge.o'\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readFile(dir.file("lib.lib")), huge);
  EXPECT_EQ(testutil::listDir(dir.path()), (std::vector<std::string>{"huge.o", "lib.lib"}));
  // A smaller member that is cut short fails while its data is copied.
  const std::string cut = kMagic + rawHeader("cut.o/", "0", "0", "0", "0", "1000") + "ab";
  testutil::writeFile(dir.file("lib.lib"), cut);
  r = zolt({"dq", "lib", "none.o"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, std::string(kErr) + "Error writing archive\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readFile(dir.file("lib.lib")), cut);
  EXPECT_EQ(testutil::listDir(dir.path()), (std::vector<std::string>{"huge.o", "lib.lib"}));
  testutil::shell("rm huge.o", dir.path());
  // Replacing and adding read any existing file as an archive: one of 8
  // bytes or fewer has no members and is replaced...
  makeFile(dir.file("a.o"), "a", kDate);
  writeFile(dir.file("tiny.lib"), "tiny");
  r = zolt({"r", "tiny", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  new archive 'tiny.lib'\n  ==>  building archive 'tiny.lib'\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(readFile(dir.file("tiny.lib")), kMagic + member("a.o/", kDate, "a"));
  // ...while a longer one that is no archive fails at its first header.
  writeFile(dir.file("text.lib"), "this is plain text, not an archive\n");
  r = zolt({"a", "text", "a.o"}, dir.path());
  expectArchiveError(r, "Cannot read member header: 'text.lib'");
  EXPECT_EQ(readFile(dir.file("text.lib")), "this is plain text, not an archive\n");
  EXPECT_TRUE(guidFiles(dir.path()).empty());
}

TEST(Failures, ExtractionErrors) {
  TempDir dir;
  makeFile(dir.file("a.o"), "aaa", kDate);
  makeFile(dir.file("b.o"), "bb", kDate);
  makeFile(dir.file("full"), "to the full device", kDate);
  ASSERT_EQ(zolt({"rq", "lib", "a.o", "b.o", "full"}, dir.path()).status, 0);
  testutil::shell("mkdir out", dir.path());
  // The run stops at the first target that cannot be created; earlier
  // targets stay extracted.
  RunResult r = zolt({"xv", "lib", "out/a.o", "nodir/b.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  extract 'out/a.o'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "cannot create 'nodir/b.o'\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readFile(dir.file("out/a.o")), "aaa");
  r = zolt({"x", "lib", "/dev/full"}, dir.path());
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, std::string(kErr) + "write error\n");
  EXPECT_EQ(r.status, 1);
  // A target that is a directory cannot be created.
  r = zolt({"x", "lib", "out/../out/"}, dir.path());
  EXPECT_EQ(r.err, std::string(kErr) + "'out/../out/' not found\n");
  testutil::shell("mkdir out/b.o", dir.path());
  r = zolt({"x", "lib", "out/b.o"}, dir.path());
  EXPECT_EQ(r.err, std::string(kErr) + "cannot create 'out/b.o'\n");
  EXPECT_EQ(r.status, 1);
}

// Runs zolt in `dir` and checks that the archive and the directory are
// exactly as before.
void expectWriteUndone(const RunResult& r, const std::string& dir, const std::string& archive,
                       const std::string& before, const std::vector<std::string>& files) {
  EXPECT_EQ(readFile(dir + "/" + archive), before);
  EXPECT_EQ(listDir(dir), files);
  EXPECT_TRUE(guidFiles(dir).empty());
  EXPECT_EQ(r.status, 1);
}

TEST(Failures, MemberTooLarge) {
  TempDir dir;
  makeFile(dir.file("a.o"), "a", kDate);
  ASSERT_EQ(testutil::shell("truncate -s 100000000 big.o", dir.path()).status, 0);
  // A new archive: nothing is left behind.
  RunResult r = zolt({"r", "lib", "a.o", "big.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  new archive 'lib.lib'\n  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "Member file too large: 'big.o'\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"a.o", "big.o"}));
  // An existing archive is back under its name.
  ASSERT_EQ(zolt({"rq", "lib", "a.o"}, dir.path()).status, 0);
  const std::string before = readFile(dir.file("lib.lib"));
  r = zolt({"rq", "lib", "big.o"}, dir.path());
  EXPECT_EQ(r.err, std::string(kErr) + "Member file too large: 'big.o'\n");
  expectWriteUndone(r, dir.path(), "lib.lib", before, {"a.o", "big.o", "lib.lib"});
}

TEST(Failures, FileSizeLimitUndoesTheWrite) {
  TempDir dir;
  std::string data(3 << 20, 'x');
  for (size_t i = 0; i < data.size(); i += 4096) data[i] = static_cast<char>(i >> 12);
  makeFile(dir.file("large.o"), data, kDate);
  makeFile(dir.file("small.o"), "s", kDate);
  ASSERT_EQ(zolt({"rq", "lib", "large.o"}, dir.path()).status, 0);
  const std::string before = readFile(dir.file("lib.lib"));
  ASSERT_EQ(before, kMagic + member("large.o/", kDate, data));
  // 2048 blocks of 512 bytes: 1 MiB, far less than the archive.
  RunResult r = zoltAfter("ulimit -f 2048", {"r", "lib", "small.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'lib.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "Error writing archive\n");
  expectWriteUndone(r, dir.path(), "lib.lib", before, {"large.o", "lib.lib", "small.o"});
  // The same with the limit reached while the new member is copied.
  r = zoltAfter("ulimit -f 2048", {"a", "other", "large.o"}, dir.path());
  EXPECT_EQ(r.err, std::string(kErr) + "Error writing archive\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(listDir(dir.path()), (std::vector<std::string>{"large.o", "lib.lib", "small.o"}));
}

TEST(Failures, NewArchiveCannotBeCreated) {
  TempDir dir;
  testutil::shell("mkdir sub", dir.path());
  makeFile(dir.file("a.o"), "a", kDate);
  ASSERT_EQ(zolt({"rq", "sub/lib", "a.o"}, dir.path()).status, 0);
  const std::string before = readFile(dir.file("sub/lib.lib"));
  // With no descriptor left for the new file, the old archive has already
  // been set aside: the message names the set-aside file, in the archive's
  // directory and with backslashes.
  // Descriptors inherited from whoever runs the tests are closed first.
  const std::string fourDescriptors = "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n 4";
  RunResult r = zoltAfter(fourDescriptors, {"r", "sub/lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'sub/lib.lib'\n");
  static const std::regex message(
      R"(  -->  error: Cannot create archive: 'sub\\\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\}'
)");
  EXPECT_TRUE(std::regex_match(r.err, message)) << r.err;
  expectWriteUndone(r, dir.file("sub"), "lib.lib", before, {"lib.lib"});
  // The same through an absolute path.
  r = zoltAfter(fourDescriptors, {"r", dir.file("sub/lib"), "a.o"}, dir.path());
  std::string expectedDir = dir.file("sub/");
  for (char& c : expectedDir)
    if (c == '/') c = '\\';
  EXPECT_EQ(r.err.rfind(std::string(kErr) + "Cannot create archive: '" + expectedDir + "{", 0),
            0u)
      << r.err;
  expectWriteUndone(r, dir.file("sub"), "lib.lib", before, {"lib.lib"});
}

TEST(Failures, ReadOnlyDirectory) {
  TempDir dir;
  // The superuser writes anywhere: run zolt as nobody in that case.
  std::string prefix = "true";
  if (geteuid() == 0) {
    if (!testutil::haveTool("setpriv")) GTEST_SKIP() << "running as root without setpriv";
    prefix = "exec setpriv --reuid=65534 --regid=65534 --clear-groups \"$0\" \"$@\"";
    chmod(dir.path().c_str(), 0755);
  }
  testutil::shell("mkdir sub && chmod 777 sub", dir.path());
  makeFile(dir.file("a.o"), "a", kDate);
  chmod(dir.file("a.o").c_str(), 0644);
  RunResult r = zoltAfter(prefix, {"rq", "sub/lib", "a.o"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string before = readFile(dir.file("sub/lib.lib"));
  chmod(dir.file("sub").c_str(), 0555);
  r = zoltAfter(prefix, {"r", "sub/lib", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  building archive 'sub/lib.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "Cannot create new archive\n");
  expectWriteUndone(r, dir.file("sub"), "lib.lib", before, {"lib.lib"});
  // A new archive in a read-only directory names itself.
  r = zoltAfter(prefix, {"r", "sub/new", "a.o"}, dir.path());
  EXPECT_EQ(r.out, "  ==>  new archive 'sub/new.lib'\n  ==>  building archive 'sub/new.lib'\n");
  EXPECT_EQ(r.err, std::string(kErr) + "Cannot create archive: 'sub/new.lib'\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(listDir(dir.file("sub")), std::vector<std::string>{"lib.lib"});
}

TEST(Failures, SourceFileCannotBeOpened) {
  TempDir dir;
  makeFile(dir.file("a.o"), "a", kDate);
  testutil::shell("mkdir d.o", dir.path());
  ASSERT_EQ(zolt({"rq", "lib", "a.o"}, dir.path()).status, 0);
  const std::string before = readFile(dir.file("lib.lib"));
  RunResult r = zolt({"aq", "lib", "d.o"}, dir.path());
  EXPECT_EQ(r.err, std::string(kErr) + "Cannot open file: 'd.o'\n");
  expectWriteUndone(r, dir.path(), "lib.lib", before, {"a.o", "d.o", "lib.lib"});
}

// A zolt running in the background, with its output captured.
struct Background {
  pid_t pid;
  int out;
  int err;
};

Background start(const std::string& dir, const std::string& argv0,
                 const std::vector<std::string>& args) {
  int out[2], err[2];
  EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
  EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
  std::string path = testutil::zoltPath();
  std::vector<const char*> argv{argv0.c_str()};
  for (const auto& a : args) argv.push_back(a.c_str());
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    dup2(out[1], 1);
    dup2(err[1], 2);
    if (chdir(dir.c_str()) != 0) _exit(126);
    execv(path.c_str(), const_cast<char* const*>(argv.data()));
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  return {pid, out[0], err[0]};
}

RunResult finish(Background& b) {
  RunResult result;
  for (int fd : {b.out, b.err}) {
    char buffer[4096];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof buffer)) > 0)
      (fd == b.out ? result.out : result.err).append(buffer, static_cast<size_t>(n));
    close(fd);
  }
  int status = 0;
  waitpid(b.pid, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

// Starts zolt on a command file that is a FIFO, waits until it has opened
// it, sends `signo` and returns what zolt printed and its status.
RunResult interruptWhileReading(const std::string& dir, int signo, const std::string& argv0) {
  std::string fifo = dir + "/cmds";
  EXPECT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  Background b = start(dir, argv0, {"@cmds"});
  // Opening the writing end waits for zolt to open the reading end, which
  // it does after its handlers are installed.
  int writer = open(fifo.c_str(), O_WRONLY);
  EXPECT_GE(writer, 0);
  EXPECT_EQ(write(writer, "r lib a", 7), 7);
  kill(b.pid, signo);
  RunResult result = finish(b);
  close(writer);
  unlink(fifo.c_str());
  return result;
}

TEST(Failures, SignalsWhileReadingACommandFile) {
  TempDir dir;
  const std::string path = testutil::zoltPath();
  RunResult r = interruptWhileReading(dir.path(), SIGTERM, path);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "[" + path + " received a terminate signal]\n");
  EXPECT_EQ(r.status, 2);
  r = interruptWhileReading(dir.path(), SIGINT, "my-zolt");
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "[my-zolt forced exit]\n");
  EXPECT_EQ(r.status, 2);
  r = interruptWhileReading(dir.path(), SIGQUIT, "./zolt");
  EXPECT_EQ(r.err, "[./zolt forced exit]\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(listDir(dir.path()).empty());
}

TEST(Failures, SignalDuringAWriteUndoesIt) {
  TempDir dir;
  // A rewrite long enough to be caught in the middle: 160 members, 40 MB.
  std::vector<std::string> args{"rq", "lib"};
  for (int i = 0; i < 160; ++i) {
    std::string name = "m" + std::to_string(i) + ".dat";
    writeFile(dir.file(name), std::string(250000, static_cast<char>('a' + i % 26)));
    args.push_back(name);
  }
  ASSERT_EQ(zolt(args, dir.path()).status, 0);
  const std::string before = readFile(dir.file("lib.lib"));
  const std::vector<std::string> listing = listDir(dir.path());
  for (int signo : {SIGTERM, SIGINT}) {
    bool caught = false;
    for (int attempt = 0; attempt < 20 && !caught; ++attempt) {
      Background b = start(dir.path(), "zolt", {"rq", "lib", "m7.dat"});
      // The signal goes in once the old archive has been set aside.
      for (int i = 0; i < 25000 && !caught; ++i) {
        caught = !guidFiles(dir.path()).empty();
        if (!caught) usleep(200);
      }
      if (caught) kill(b.pid, signo);
      RunResult r = finish(b);
      if (!caught) continue;  // it finished first; try again
      // Standard output is a pipe here, and an interrupt ends the process
      // without flushing it, so the status lines are not looked at.
      EXPECT_EQ(r.err, signo == SIGTERM ? "[zolt received a terminate signal]\n"
                                        : "[zolt forced exit]\n");
      EXPECT_EQ(r.status, 2);
      // The old archive is back under its name; nothing else is left.
      EXPECT_EQ(readFile(dir.file("lib.lib")), before);
      EXPECT_EQ(listDir(dir.path()), listing);
    }
    EXPECT_TRUE(caught) << "no write was caught in the middle";
  }
}

}  // namespace
