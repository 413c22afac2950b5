#include "common/test_util.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace testutil {

TempDir::TempDir() {
  std::string base = fs::temp_directory_path().string() + "/zolt-test-XXXXXX";
  std::vector<char> buf(base.begin(), base.end());
  buf.push_back('\0');
  if (!mkdtemp(buf.data())) throw std::runtime_error("mkdtemp failed");
  path_ = buf.data();
}

TempDir::~TempDir() {
  std::error_code ec;
  // Tests may leave read-only directories behind; make them writable first.
  for (auto it = fs::recursive_directory_iterator(path_, ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    if (it->is_directory(ec)) fs::permissions(it->path(), fs::perms::owner_all,
                                              fs::perm_options::add, ec);
  }
  fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ec);
  fs::remove_all(path_, ec);
}

static void drain(int outFd, int errFd, std::string& out, std::string& err,
                  int inFd, const std::string& input) {
  size_t inPos = 0;
  if (inFd >= 0 && input.empty()) { close(inFd); inFd = -1; }
  while (outFd >= 0 || errFd >= 0 || inFd >= 0) {
    pollfd fds[3];
    int n = 0;
    if (outFd >= 0) fds[n++] = {outFd, POLLIN, 0};
    if (errFd >= 0) fds[n++] = {errFd, POLLIN, 0};
    if (inFd >= 0) fds[n++] = {inFd, POLLOUT, 0};
    if (poll(fds, n, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < n; ++i) {
      if (!fds[i].revents) continue;
      int fd = fds[i].fd;
      if (fd == inFd) {
        ssize_t w = write(fd, input.data() + inPos, input.size() - inPos);
        if (w > 0) inPos += w;
        if (w <= 0 || inPos == input.size()) { close(inFd); inFd = -1; }
        continue;
      }
      char buf[65536];
      ssize_t r = read(fd, buf, sizeof buf);
      if (r > 0) {
        (fd == outFd ? out : err).append(buf, r);
      } else {
        close(fd);
        if (fd == outFd) outFd = -1; else errFd = -1;
      }
    }
  }
}

RunResult run(const std::vector<std::string>& argv, const std::string& cwd,
              const std::string& input) {
  int outPipe[2], errPipe[2], inPipe[2];
  if (pipe2(outPipe, O_CLOEXEC) || pipe2(errPipe, O_CLOEXEC) || pipe2(inPipe, O_CLOEXEC))
    throw std::runtime_error("pipe failed");
  pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    dup2(inPipe[0], 0);
    dup2(outPipe[1], 1);
    dup2(errPipe[1], 2);
    if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(126);
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  close(outPipe[1]);
  close(errPipe[1]);
  close(inPipe[0]);
  RunResult result;
  drain(outPipe[0], errPipe[0], result.out, result.err, inPipe[1], input);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

RunResult shell(const std::string& command, const std::string& cwd) {
  return run({"/bin/sh", "-c", command}, cwd);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

bool exists(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

std::vector<std::string> listDir(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(path)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

void setMtime(const std::string& path, long seconds) {
  struct utimbuf t;
  t.actime = seconds;
  t.modtime = seconds;
  if (utime(path.c_str(), &t) != 0) throw std::runtime_error("utime failed on " + path);
}

bool haveTool(const std::string& name) {
  return shell("command -v " + name + " >/dev/null 2>&1").status == 0;
}

std::string compileC(const std::string& dir, const std::string& name,
                     const std::string& source, const std::string& compiler,
                     const std::vector<std::string>& flags) {
  std::string src = dir + "/" + name + ".c";
  std::string obj = dir + "/" + name + ".o";
  writeFile(src, source);
  std::vector<std::string> argv = {compiler, "-c", "-O1", "-o", obj, src};
  argv.insert(argv.begin() + 1, flags.begin(), flags.end());
  RunResult r = run(argv);
  EXPECT_EQ(r.status, 0) << compiler << " failed: " << r.err;
  return obj;
}

std::string zoltPath() { return ZOLT_BINARY; }

}  // namespace testutil
