#include "common/test_util.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
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

Child forkChild(const std::function<void()>& body) {
  int in[2], out[2], err[2];
  if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC))
    throw std::runtime_error("pipe failed");
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    body();
    std::fflush(nullptr);
    _exit(0);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  return {pid, in[1], out[0], err[0]};
}

Child spawn(const std::vector<std::string>& argv, const std::string& cwd,
            const std::string& program) {
  return forkChild([&] {
    if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(126);
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    if (program.empty()) execvp(args[0], args.data());
    else execv(program.c_str(), args.data());
    _exit(127);
  });
}

RunResult finish(Child& child, const std::string& input) {
  RunResult result;
  size_t inPos = 0;
  int inFd = child.in, outFd = child.out, errFd = child.err;
  if (input.empty()) { close(inFd); inFd = -1; }
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
        (fd == outFd ? result.out : result.err).append(buf, r);
      } else {
        close(fd);
        if (fd == outFd) outFd = -1; else errFd = -1;
      }
    }
  }
  int status = 0;
  while (waitpid(child.pid, &status, 0) < 0 && errno == EINTR) {}
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

RunResult run(const std::vector<std::string>& argv, const std::string& cwd,
              const std::string& input) {
  Child child = spawn(argv, cwd);
  return finish(child, input);
}

RunResult inChild(const std::function<void()>& body) {
  Child child = forkChild(body);
  return finish(child);
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

std::string rawHeader(const std::string& name, const std::string& date, const std::string& uid,
                      const std::string& gid, const std::string& mode, const std::string& size,
                      const std::string& terminator) {
  auto pad = [](const std::string& text, size_t width) {
    std::string out = text.substr(0, width);
    out.resize(width, ' ');
    return out;
  };
  return pad(name, 16) + pad(date, 12) + pad(uid, 6) + pad(gid, 6) + pad(mode, 8) +
         pad(size, 10) + pad(terminator, 2);
}

std::string header(const std::string& nameField, long date, long uid, long size) {
  return rawHeader(nameField, std::to_string(date), std::to_string(uid), "0", "0",
                   std::to_string(size));
}

std::string member(const std::string& nameField, long date, const std::string& data, long uid) {
  std::string out = header(nameField, date, uid, static_cast<long>(data.size())) + data;
  if (data.size() % 2) out += '\n';
  return out;
}

std::string nameTable(const std::string& nameField, const std::string& text, long uid) {
  return header(nameField, 0, uid, static_cast<long>(text.size())) + text;
}

std::string appError(const std::string& text) {
  return "DIAG/user_msg_api:175:internal error #99924: (" + text + ")\n";
}

}  // namespace testutil
