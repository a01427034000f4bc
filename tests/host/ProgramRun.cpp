#include "ProgramRun.h"

#include <pty.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace {

int openMemoryFile() {
  const int file = memfd_create("program", MFD_CLOEXEC);
  if (file < 0) throw std::runtime_error("no memory file");
  return file;
}

/// A file's bytes from its start, or what a terminal still holds after its other side was closed.
std::string readAll(int file) {
  lseek(file, 0, SEEK_SET);
  std::string bytes;
  char buffer[4096];
  for (ssize_t n; (n = read(file, buffer, sizeof buffer)) > 0;) bytes.append(buffer, static_cast<std::size_t>(n));
  return bytes;
}

}  // namespace

ProgramRun::ProgramRun(std::vector<std::string> arguments, Errors errors) : outputFile_(openMemoryFile()) {
  int childErrors;
  if (errors == Errors::Terminal) {
    const winsize size{24, 40, 0, 0};
    if (openpty(&errorFile_, &childErrors, nullptr, nullptr, &size)) throw std::runtime_error("no terminal");
  } else {
    childErrors = errorFile_ = openMemoryFile();
  }

  std::vector<char*> argv{const_cast<char*>(QUILLMORIA_PROGRAM)};
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, outputFile_, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, childErrors, STDERR_FILENO);
  const int error = posix_spawn(&process_, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (childErrors != errorFile_) close(childErrors);
  if (error) throw std::runtime_error("the program does not start");
}

ProgramRun::~ProgramRun() {
  if (!ended_) kill(process_, SIGKILL);
  status();
  close(outputFile_);
  close(errorFile_);
}

void ProgramRun::signal(int number) const { kill(process_, number); }

int ProgramRun::status() {
  if (ended_) return status_;
  ended_ = true;
  int wait = 0;
  waitpid(process_, &wait, 0);
  status_ = WIFEXITED(wait) ? WEXITSTATUS(wait) : -WTERMSIG(wait);
  output_ = readAll(outputFile_);
  errors_ = readAll(errorFile_);
  return status_;
}
