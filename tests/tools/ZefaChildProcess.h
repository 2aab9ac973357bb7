#pragma once
// A program run by a test: standard output and standard error go to files, every wait has a
// limit, and the destructor kills the program if it is still running.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

class ZefaChildProcess {
 public:
  // Starts arguments[0] with `arguments`; its output goes to `outputPath` and outputPath.err.
  ZefaChildProcess(std::vector<std::string> arguments, std::string outputPath)
      : output_(std::move(outputPath)) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, output_.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, 2, (output_ + ".err").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
  }
  ~ZefaChildProcess() {
    if (pid_ > 0 && !exitCode_) {
      ::kill(pid_, SIGKILL);
      wait(5);
    }
  }
  ZefaChildProcess(const ZefaChildProcess&) = delete;
  ZefaChildProcess& operator=(const ZefaChildProcess&) = delete;

  void signal(int number) const {
    if (pid_ > 0 && !exitCode_) ::kill(pid_, number);
  }
  // The exit code (128 + signal when killed); none when still running after `seconds`.
  std::optional<int> wait(double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (pid_ > 0 && !exitCode_) {
      int status = 0;
      if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      } else if (std::chrono::steady_clock::now() > deadline) {
        break;
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    }
    return exitCode_;
  }
  std::string output() const { return read(output_); }
  std::string errors() const { return read(output_ + ".err"); }
  // The first line of standard output, once written; none after `seconds`.
  std::optional<std::string> firstLine(double seconds) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    do {
      const std::string text = output();
      if (const size_t end = text.find('\n'); end != std::string::npos) return text.substr(0, end);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } while (std::chrono::steady_clock::now() < deadline);
    return std::nullopt;
  }

 private:
  static std::string read(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  std::string output_;
  pid_t pid_ = -1;
  std::optional<int> exitCode_;
};
