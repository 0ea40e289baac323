#include "Process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "DevCollector.h"

namespace zul::bench {

namespace {

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read = ends[0];
    write = ends[1];
  }
  int read = -1;
  int write = -1;
};

std::string readAll(int file) {
  std::string text;
  std::array<char, 4096> buffer{};
  while (true) {
    const ssize_t count = ::read(file, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

[[noreturn]] void become(std::vector<std::string> command, int output, const std::string& log) {
  std::vector<char*> arguments;
  for (auto& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  const int error = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
  if (error >= 0 && dup2(output, STDOUT_FILENO) >= 0 && dup2(error, STDERR_FILENO) >= 0) {
    execvp(arguments[0], arguments.data());
  }
  _exit(127);
}

[[noreturn]] void collect(int life, int announce) {
  try {
    collector::CollectorOptions options;
    options.keepBodies = false;
    collector::DevCollector collector(options);
    collector.start();
    const auto url = collector.baseUrl();
    if (::write(announce, url.data(), url.size()) > 0) {
      close(announce);
      readAll(life);
    }
    collector.stop();
  } catch (...) {
  }
  _exit(0);
}

}  // namespace

TemporaryFolder::TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "zul-bench-XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder");
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string besideProgram(const std::string& name) {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
}

std::string run(const std::vector<std::string>& command, const std::string& log) {
  const Pipe output;
  const pid_t process = fork();
  if (process < 0) throw std::runtime_error("cannot start a process");
  if (process == 0) become(command, output.write, log);
  close(output.write);
  auto text = readAll(output.read);
  close(output.read);
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  if (status != 0) throw std::runtime_error(command[0] + " " + command[1] + " failed: " + text);
  return text;
}

Figures runHost(const std::string& role, const std::map<std::string, std::string>& options, const std::string& log) {
  std::vector<std::string> command = {besideProgram("zul-bench-host"), role};
  for (const auto& [name, value] : options) command.push_back(name + "=" + value);
  std::istringstream text(run(command, log));
  Figures figures;
  for (std::string line; std::getline(text, line);) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    for (double number = 0; words >> number;) figures[name].push_back(number);
  }
  return figures;
}

Collector::Collector() {
  const Pipe life;
  const Pipe announcement;
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("cannot start the collector");
  if (process_ == 0) {
    close(life.write);
    close(announcement.read);
    collect(life.read, announcement.write);
  }
  close(life.read);
  close(announcement.write);
  life_ = life.write;
  url_ = readAll(announcement.read);
  close(announcement.read);
  if (url_.empty()) throw std::runtime_error("the collector did not start");
}

Collector::~Collector() {
  close(life_);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace zul::bench
