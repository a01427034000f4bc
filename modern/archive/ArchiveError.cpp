#include "quillmoria/NewsArchive.h"

namespace quillmoria {

ArchiveError::ArchiveError(ArchiveProblem problem, const std::string& text)
    : std::runtime_error(text), problem_(problem) {}
ArchiveError::ArchiveError(const ArchiveError&) = default;
ArchiveError& ArchiveError::operator=(const ArchiveError&) = default;
ArchiveError::~ArchiveError() = default;

}  // namespace quillmoria
