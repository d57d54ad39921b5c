// `diebom studio` run as a user runs it: the address first, the page served
// on it, Ctrl-C ends the run cleanly; bad usage gets a clear answer.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <time.h>
#include <cstdlib>
#include <thread>

#include "tests/studio/studio_fixture.h"

namespace studio_test {
namespace {

struct Child {
  pid_t pid = -1;
  int out = -1, err = -1;
};

Child Spawn(const std::vector<std::string>& args, const fs::path& cwd) {
  int out[2], err[2];
  EXPECT_EQ(::pipe(out), 0);
  EXPECT_EQ(::pipe(err), 0);
  Child c;
  c.pid = ::fork();
  if (c.pid == 0) {
    ::dup2(out[1], STDOUT_FILENO);
    ::dup2(err[1], STDERR_FILENO);
    const int null = ::open("/dev/null", O_RDONLY);
    ::dup2(null, STDIN_FILENO);
    if (::chdir(cwd.c_str()) != 0) _exit(120);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(DIEBOM_BIN));
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    ::execv(DIEBOM_BIN, argv.data());
    _exit(127);
  }
  ::close(out[1]);
  ::close(err[1]);
  c.out = out[0];
  c.err = err[0];
  return c;
}

long long NowMs() {
  timespec ts{};
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

// Reads from `fd` until a newline or `ms` have passed.
std::string ReadLine(int fd, int ms) {
  std::string line;
  const long long end = NowMs() + ms;
  while (NowMs() < end) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, 100) <= 0) continue;
    char c;
    if (::read(fd, &c, 1) != 1) break;
    if (c == '\n') return line;
    line += c;
  }
  return line;
}

std::string ReadRest(int fd) {
  std::string out;
  char buffer[4096];
  ssize_t n;
  while ((n = ::read(fd, buffer, sizeof buffer)) > 0)
    out.append(buffer, static_cast<std::size_t>(n));
  return out;
}

// The exit status, or -1 when the child is still running after `ms` (it is
// then killed).
int WaitFor(pid_t pid, int ms) {
  const long long end = NowMs() + ms;
  int status = 0;
  while (NowMs() < end) {
    if (::waitpid(pid, &status, WNOHANG) == pid)
      return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
    ::usleep(50000);
  }
  ::kill(pid, SIGKILL);
  ::waitpid(pid, &status, 0);
  return -1;
}

class StudioToolTest : public StudioTest {};

TEST_F(StudioToolTest, TheAddressComesFirstAndCtrlCEndsTheRunCleanly) {
  Child c = Spawn(
      {"studio", P("die.xbf"), "--no-browser", "--port", "0", "--config", DIEBOM_SAMPLE_CONFIG},
      dir_);
  const std::string address = ReadLine(c.out, 30000);
  const std::string prefix = "http://127.0.0.1:";
  ASSERT_EQ(address.rfind(prefix, 0), 0u) << address;
  const std::size_t slash = address.find("/?t=");
  ASSERT_NE(slash, std::string::npos) << address;
  const int port = std::atoi(address.substr(prefix.size(), slash - prefix.size()).c_str());
  const std::string token = address.substr(slash + 4);
  EXPECT_EQ(token.size(), 32u);

  httplib::Client client("127.0.0.1", port);
  client.set_read_timeout(30, 0);
  auto page = client.Get(("/?t=" + token).c_str());
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_NE(page->get_header_value("Content-Type").find("text/html"), std::string::npos);
  auto state = client.Get("/api/state", {{"X-Studio-Token", token}});
  ASSERT_TRUE(state);
  EXPECT_EQ(json::parse(state->body)["part"]["name"], "die");
  // The export folder of the run was made where the tool was started.
  EXPECT_TRUE(fs::is_directory(dir_ / "studio-out"));

  // A run of the options dialog is under way when Ctrl-C comes.
  auto run = client.Post("/api/action", {{"X-Studio-Token", token}},
                         R"({"tab": "t", "action": "run-material"})", "application/json");
  ASSERT_TRUE(run);
  EXPECT_EQ(run->status, 200);
  ::kill(c.pid, SIGINT);
  EXPECT_EQ(WaitFor(c.pid, 30000), 0);
  EXPECT_NE(ReadRest(c.err).find("diebom studio: ended"), std::string::npos);
  ::close(c.out);
  ::close(c.err);
  EXPECT_FALSE(client.Get("/api/state", {{"X-Studio-Token", token}})) << "the server is gone";
}

TEST_F(StudioToolTest, BadUsageAndMissingPartsAreSaidClearly) {
  auto run = [&](const std::vector<std::string>& args, std::string* err) {
    Child c = Spawn(args, dir_);
    const int code = WaitFor(c.pid, 30000);
    ReadRest(c.out);
    *err = ReadRest(c.err);
    ::close(c.out);
    ::close(c.err);
    return code;
  };
  std::string err;
  EXPECT_EQ(run({"studio", "--port", "http"}, &err), 2);
  EXPECT_NE(err.find("--port must be a port number from 1 to 65535 (0: a free one), not 'http'"),
            std::string::npos)
      << err;
  EXPECT_EQ(run({"studio", "--port", "65536"}, &err), 2);
  EXPECT_EQ(run({"studio", "a.xbf", "b.xbf"}, &err), 2);
  EXPECT_EQ(run({"studio", P("missing.xbf"), "--no-browser"}, &err), 1);
  EXPECT_NE(err.find("missing.xbf: no such file"), std::string::npos) << err;
  EXPECT_EQ(run({"studio", "--no-browser", "--out", P("nowhere/out")}, &err), 1);
  EXPECT_FALSE(fs::exists(P("nowhere")));

  // A port that is taken.
  httplib::Server other;
  const int taken = other.bind_to_any_port("127.0.0.1");
  ASSERT_GT(taken, 0);
  EXPECT_EQ(run({"studio", "--no-browser", "--port", std::to_string(taken)}, &err), 1);
  EXPECT_NE(err.find("cannot listen on 127.0.0.1:" + std::to_string(taken)), std::string::npos)
      << err;

  Child help = Spawn({"--help"}, dir_);
  EXPECT_EQ(WaitFor(help.pid, 30000), 0);
  EXPECT_NE(ReadRest(help.out).find("studio [PART]"), std::string::npos);
  ::close(help.out);
  ::close(help.err);
}

}  // namespace
}  // namespace studio_test
