#include "tests/tool/ToolTest.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

struct Pipe {
  Pipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read = ends[0];
    write = ends[1];
  }
  ~Pipe() {
    Close(read);
    Close(write);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  static void Close(int& end) {
    if (end >= 0) ::close(end);
    end = -1;
  }

  int read = -1;
  int write = -1;
};

int waitFor(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// False at the end of the stream.
bool readMore(int from, std::string& text) {
  std::array<char, 4096> buffer;
  const ssize_t count = ::read(from, buffer.data(), buffer.size());
  if (count <= 0) return count < 0 && errno == EINTR;
  text.append(buffer.data(), static_cast<std::size_t>(count));
  return true;
}

void readBoth(int first, std::string& firstText, int second, std::string& secondText) {
  pollfd streams[] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
  std::string* texts[] = {&firstText, &secondText};
  while (streams[0].fd >= 0 || streams[1].fd >= 0) {
    if (::poll(streams, 2, -1) < 0) continue;
    for (int i = 0; i < 2; ++i) {
      if (streams[i].revents != 0 && !readMore(streams[i].fd, *texts[i])) streams[i].fd = -1;
    }
  }
}

void writeAll(int to, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = ::write(to, text.data() + done, text.size() - done);
    if (count < 0) return;
    done += static_cast<std::size_t>(count);
  }
}

}  // namespace

ToolTest::ToolTest() {
  m_environment = {{"SPS_REGISTRY", Path("store").string()}, {"HOME", m_directory.path()}, {"TERM", "xterm"}};
  // What the address sanitizer and its kin are told.
  for (const char* passed : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LD_LIBRARY_PATH"}) {
    if (const char* value = std::getenv(passed)) m_environment[passed] = value;
  }
  std::signal(SIGPIPE, SIG_IGN);
}

void ToolTest::Become(const Arguments& arguments) const {
  std::vector<std::string> environment;
  for (const auto& [name, value] : m_environment) environment.push_back(name + '=' + value);
  std::vector<char*> argv{const_cast<char*>(SPS_TOOL_PATH)};
  std::vector<char*> envp;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  for (const std::string& variable : environment) envp.push_back(const_cast<char*>(variable.c_str()));
  argv.push_back(nullptr);
  envp.push_back(nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  ::execve(SPS_TOOL_PATH, argv.data(), envp.data());
  ::_exit(127);
}

RunResult ToolTest::Run(const Arguments& arguments, const std::string& input) {
  Pipe in, out, err;
  const pid_t child = ::fork();
  if (child == 0) {
    ::setsid();
    ::dup2(in.read, 0);
    ::dup2(out.write, 1);
    ::dup2(err.write, 2);
    Become(arguments);
  }
  Pipe::Close(in.read);
  Pipe::Close(out.write);
  Pipe::Close(err.write);
  writeAll(in.write, input);
  Pipe::Close(in.write);
  RunResult result;
  readBoth(out.read, result.out, err.read, result.err);
  result.exitCode = waitFor(child);
  return result;
}

RunResult ToolTest::RunInto(const std::string& file, const Arguments& arguments) {
  Pipe err;
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(::open("/dev/null", O_RDONLY), 0);
    ::dup2(::open(file.c_str(), O_WRONLY), 1);
    ::dup2(err.write, 2);
    Become(arguments);
  }
  Pipe::Close(err.write);
  RunResult result;
  while (readMore(err.read, result.err)) {
  }
  result.exitCode = waitFor(child);
  return result;
}

int ToolTest::RunWithout(const std::vector<int>& closed, const Arguments& arguments) {
  const pid_t child = ::fork();
  if (child == 0) {
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (int stream = 0; stream <= 2; ++stream) ::dup2(nowhere, stream);
    ::close(nowhere);
    for (const int stream : closed) ::close(stream);
    Become(arguments);
  }
  return waitFor(child);
}

RunResult ToolTest::RunOnTerminal(const Arguments& arguments, const std::string& input) {
  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) Become(arguments);
  writeAll(terminal, input);
  RunResult result;
  while (readMore(terminal, result.out)) {
  }
  result.exitCode = waitFor(child);
  ::close(terminal);
  return result;
}

std::string ToolTest::Out(const Arguments& arguments, const std::string& input) {
  const RunResult run = Run(arguments, input);
  EXPECT_TRUE(exitsWith(0, run)) << testing::PrintToString(arguments);
  return run.out;
}

Json ToolTest::JsonOut(Arguments arguments) {
  arguments.insert(arguments.begin(), "--json");
  return Json::Parse(Out(arguments));
}

void ToolTest::MakeStore() {
  Out({"import", "-"}, "Windows Registry Editor Version 5.00\n");
}

void ToolTest::Import(const std::string& topic, const std::string& par, const std::string& values) {
  Out({"import", "-"},
      "Windows Registry Editor Version 5.00\n\n"
      "[HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\" +
          topic + '\\' + par + "]\n" + values);
}

void ToolTest::WriteFile(const std::string& name, const std::string& bytes) const {
  std::ofstream(Path(name), std::ios::binary) << bytes;
}

std::string ToolTest::ReadFile(const std::string& name) const {
  std::ifstream file(Path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

testing::AssertionResult exitsWith(int exitCode, const RunResult& run) {
  if (run.exitCode == exitCode) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "exit code " << run.exitCode << "\nout: " << run.out
                                     << "\nerr: " << run.err;
}
