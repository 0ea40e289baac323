#include "Child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

namespace zul::test {

namespace {

/// What becomes of a program's files, and of its session, before it begins.
class Spawn {
 public:
  Spawn() {
    posix_spawn_file_actions_init(&files_);
    posix_spawnattr_init(&attributes_);
  }
  ~Spawn() {
    posix_spawn_file_actions_destroy(&files_);
    posix_spawnattr_destroy(&attributes_);
  }
  Spawn(const Spawn&) = delete;
  Spawn& operator=(const Spawn&) = delete;

  void use(const Descriptor& from, int file) {
    check(posix_spawn_file_actions_adddup2(&files_, from.get(), file), "a program's files");
  }
  void open(const std::string& name, int flags, int file) {
    check(posix_spawn_file_actions_addopen(&files_, file, name.c_str(), flags, 0600), "a program's files");
  }
  /// The first terminal that the program opens is then the one that controls it.
  void leaveSession() { check(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSID), "a program's session"); }

  pid_t run(std::string program, std::vector<std::string> arguments, std::vector<std::string> environment = {}) {
    arguments.insert(arguments.begin(), program);
    pid_t pid = -1;
    check(posix_spawnp(&pid, program.c_str(), &files_, &attributes_, pointers(arguments).data(),
                       environment.empty() ? environ : pointers(environment).data()),
          program.c_str());
    return pid;
  }

 private:
  static void check(int error, const char* what) {
    if (error != 0) throw std::system_error(error, std::generic_category(), what);
  }
  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
  }

  posix_spawn_file_actions_t files_{};
  posix_spawnattr_t attributes_{};
};

std::vector<std::string> environmentOfXterm() {
  std::vector<std::string> environment{"TERM=xterm"};
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with("TERM=")) environment.emplace_back(*entry);
  }
  return environment;
}

}  // namespace

Child::Child(const std::string& program, const std::vector<std::string>& arguments, const std::string& errorFile) {
  Pipe in;
  Pipe out;
  Spawn spawn;
  spawn.use(in.read, STDIN_FILENO);
  spawn.use(out.write, STDOUT_FILENO);
  if (errorFile.empty()) {
    spawn.use(out.write, STDERR_FILENO);
  } else {
    spawn.open(errorFile, O_WRONLY | O_CREAT | O_APPEND, STDERR_FILENO);
  }
  pid_ = spawn.run(program, arguments);
  in_ = std::move(in.write);
  out_ = std::move(out.read);
}

Child::Child(const std::function<int()>& work) {
  Pipe in;
  Pipe out;
  pid_ = ::fork();
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ == 0) {
    in.write.close();
    out.read.close();
    int status = 127;
    try {
      if (::dup2(in.read.get(), STDIN_FILENO) >= 0 && ::dup2(out.write.get(), STDOUT_FILENO) >= 0) status = work();
    } catch (...) {
    }
    ::_exit(status);
  }
  in_ = std::move(in.write);
  out_ = std::move(out.read);
}

Child Child::onTerminal(const std::string& program, const std::vector<std::string>& arguments) {
  return {OnTerminal(), program, arguments};
}

Child::Child(OnTerminal, const std::string& program, const std::vector<std::string>& arguments) {
  std::array<char, 128> name{};
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal >= 0) out_ = Descriptor(terminal, "terminal");
  if (terminal < 0 || ::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0 ||
      ::ptsname_r(terminal, name.data(), name.size()) != 0) {
    throw NoTerminal(std::string("no terminal to be had here: ") + std::strerror(errno));
  }
  in_ = Descriptor(::fcntl(terminal, F_DUPFD_CLOEXEC, 0), "terminal");
  Spawn spawn;
  spawn.leaveSession();
  for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) spawn.open(name.data(), O_RDWR, file);
  pid_ = spawn.run(program, arguments, environmentOfXterm());
}

Child::~Child() {
  kill();
}

void Child::signal(int number) const {
  if (pid_ > 0) ::kill(pid_, number);
}

void Child::kill() {
  signal(SIGKILL);
  reap();
}

bool Child::type(const std::string& text) const {
  for (std::string_view left = text; !left.empty();) {
    const auto written = ::write(in_.get(), left.data(), left.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    left.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool Child::readUpTo(const std::string& text, Clock::duration patience) {
  const auto deadline = Clock::now() + patience;
  while (text.empty() || output_.find(text) == output_.npos) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd ready{out_.get(), POLLIN, 0};
    if (left <= 0) return false;
    if (const int count = ::poll(&ready, 1, static_cast<int>(left)); count <= 0) {
      if (count < 0 && errno == EINTR) continue;
      return false;
    }
    std::array<char, 4096> buffer{};
    const auto length = ::read(out_.get(), buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR) continue;
    if (length <= 0) return true;
    output_.append(buffer.data(), static_cast<std::size_t>(length));
  }
  return true;
}

std::string Child::takeUpTo(const std::string& text, Clock::duration patience) {
  readUpTo(text, patience);
  const auto at = output_.find(text);
  auto taken = output_.substr(0, at == output_.npos ? at : at + text.size());
  output_.erase(0, taken.size());
  return taken;
}

bool Child::ended(Clock::duration patience) {
  if (!readUpTo({}, patience)) return false;
  reap();
  return true;
}

int Child::exitStatus() {
  return ended(std::chrono::seconds(30)) && WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

void Child::reap() {
  if (pid_ <= 0) return;
  int status = -1;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  status_ = status;
  pid_ = -1;
}

}  // namespace zul::test
