#include "platform/IStream.h"

IStream::~IStream() = default;

CArchiveStream::CArchiveStream(CArchive* archive) : archive_(archive) {}

std::size_t CArchiveStream::Read(void* buffer, std::size_t count) { return archive_->Read(buffer, count); }
