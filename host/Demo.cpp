#include "Demo.h"

#include <algorithm>

#include "BaseFolder.h"
#include "DemoParts.h"
#include "DemoServer.h"

namespace quillmoria {

bool isAsExpected(const std::vector<std::string>& came, const std::vector<std::string>& expected) {
  for (std::size_t i = 0; i < std::max(came.size(), expected.size()); ++i) {
    const std::string& is = i < came.size() ? came[i] : "nothing";
    const std::string& should = i < expected.size() ? expected[i] : "nothing";
    if (is != should) complain("expected \"" + should + "\", but there came \"" + is + "\"");
  }
  return came == expected;
}

int demoCommand(Profile profile, const std::string& parentFolder, Output& output) {
  const TemporaryBaseFolder folder(parentFolder);
  const DemoServer server;
  ExitStatus status = showClassicProfile(server, folder.name(), output);
  if (profile == Profile::Modern && status != kInterrupted)
    status = std::max(status, showModernProfile(server, folder.name(), output));
  if (status == kInterrupted) return status;
  output.line("");
  output.line(status == kDone ? "All came as expected." : "Not all came as expected.");
  output.flush();
  return status;
}

}  // namespace quillmoria
