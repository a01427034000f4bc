#include "Demo.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "BaseFolder.h"
#include "DemoParts.h"
#include "DemoServer.h"

namespace quillmoria {
namespace {

int run(const Invocation& invocation) {
  const TemporaryBaseFolder folder(invocation.base);
  const DemoServer server;
  Output& output = invocation.output;
  ExitStatus status = showClassicProfile(server, folder.name(), output);
  if (invocation.profile == Profile::Modern && status != kInterrupted)
    status = std::max(status, showModernProfile(server, folder.name(), output));
  if (status == kInterrupted) return status;
  output.line("");
  output.line(status == kDone ? "All came as expected." : "Not all came as expected.");
  output.flush();
  return status;
}

}  // namespace

bool isAsExpected(const std::vector<std::string>& came, const std::vector<std::string>& expected) {
  for (std::size_t i = 0; i < std::max(came.size(), expected.size()); ++i) {
    const std::string& is = i < came.size() ? came[i] : "nothing";
    const std::string& should = i < expected.size() ? expected[i] : "nothing";
    if (is != should) complain("expected \"" + should + "\", but there came \"" + is + "\"");
  }
  return came == expected;
}

Command addDemo(CLI::App& app) {
  return {declareCommand(app, "demo", "Show the engine at work on sample feeds of its own; needs no network"), run};
}

}  // namespace quillmoria
