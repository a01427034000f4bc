#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "modern/archive/Database.h"

namespace quillmoria {

/// The version of the schema that this code reads and writes. An older one is brought up to it when it is opened.
inline constexpr int kSchemaVersion = 1;

/// A second of the items' primary key.
inline constexpr std::int64_t kMomentsPerSecond = std::int64_t{1} << 21;

// The names of `settings`. Those of the retention are ArchiveRetention's members, which hold where there is none.
inline constexpr char kNextId[] = "next_id";
inline constexpr char kItemsPerFeed[] = "items_per_feed";
inline constexpr char kDays[] = "days";

/// What belongs to the file at a path: itself, and what SQLite keeps beside it.
inline constexpr std::array kArchiveSuffixes{"", "-wal", "-shm"};

/// The archive's path.
std::string archivePath(const std::string& baseFolder);

/// Whether there is an archive in `baseFolder`, or something in its place. Throws ArchiveError.
bool hasArchive(const std::string& baseFolder);

/// Opens the archive of `baseFolder` with the schema of this version, and makes one where there is none. Throws
/// ArchiveError and std::bad_alloc.
Database openArchive(const std::string& baseFolder);

/// Makes the tables of this version in `archive`, which is of none or of an older one.
void makeTables(Database& archive);

/// Moves the archive of `baseFolder` aside, with what belongs to it. Returns the new path. Throws ArchiveError.
std::string moveArchiveAside(const std::string& baseFolder);

}  // namespace quillmoria
