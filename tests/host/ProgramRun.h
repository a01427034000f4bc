#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// A run of the `quillmoria` program.
///
///     ProgramRun run({"pull", "--feed", "A=" + server.url("/a.rss")});
///     EXPECT_EQ(run.status(), 0) << run.errors();
class ProgramRun {
 public:
  enum class Errors { File, Terminal };

  /// Starts the program; with `Errors::Terminal` its standard error is a terminal of 40 columns, which
  /// holds 4 KiB.
  explicit ProgramRun(std::vector<std::string> arguments, Errors errors = Errors::File);
  ~ProgramRun();
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;

  void signal(int number) const;

  /// The exit status, after waiting for the end; the negative number of the signal that ended the program.
  int status();
  /// What it wrote, after waiting for its end.
  std::string output() { return status(), output_; }
  std::string errors() { return status(), errors_; }

 private:
  pid_t process_ = -1;
  int outputFile_;
  int errorFile_;  ///< the terminal's other side, if there is one
  bool ended_ = false;
  int status_ = 0;
  std::string output_;
  std::string errors_;
};
