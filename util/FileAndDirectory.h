// Path strings, whole files, generated file names; with the platform half, directories and base directories.
#pragma once

#include <string>
#include <vector>

#include "util/FileSystemLinux.h"

namespace Vantor {

/// `a` and `b` with exactly one '/' between them where `b` starts with at most one; a lone `a` ends in '/', and one
/// leading '/' of `b` is dropped even after an empty `a`.
[[nodiscard]] std::string CombinePaths(const std::string& a, const std::string& b);

/// The first of `count` parts combined with each following one in turn; empty for a count of 0.
[[nodiscard]] std::string CombinePaths(const std::string* parts, int count);

/// The path up to and including its last '/' that is not its end: "/a/b/c" and "/a/b/" give "/a/b/" and "/a/".
/// Unchanged without such a '/'.
[[nodiscard]] std::string RemoveLastPartFromPath(const std::string& p);

/// What follows the last '/': the whole path without one, empty when the path ends in one.
[[nodiscard]] std::string GetFilenameFromPath(const std::string& p);

/// Reads a whole file of at least one byte.
/// @param data set to memory from std::malloc that the caller gives to std::free
/// @param size set to the length in bytes
/// @return false when the file is empty, cannot be read or is too long for a `long`; both stay unchanged then
[[nodiscard]] bool ReadCompleteFileBinary(const std::string& path, unsigned char** data, long& size);

/// The whole file, NUL bytes included; empty when it cannot be read.
[[nodiscard]] std::string ReadCompleteFile(const std::string& path);

/// Renames within a file system, replacing `to`. @return true on success
bool RenameFile(const std::string& from, const std::string& to);

/// Removes a file or an empty directory. @return true on success
bool RemoveFile(const std::string& path);

/// True when the file can be opened for reading: one that may not be read counts as missing.
[[nodiscard]] bool FileExists(const std::string& path);

/// Copies a file's bytes over `target`. Failures are logged as errors on logger 0.
/// A source that cannot be opened, is a directory or is the target itself leaves the target alone.
/// @return false when either cannot be opened or any byte could not be read or written
bool CopyFile(const std::string& source, const std::string& target);

/// Writes a whole file, creating or truncating it. Failures are logged as errors on logger 0.
/// @param removeFirst removes the old file first, so that a new one with default mode and owner is made
/// @return true when every byte is written and the file closed without an error
bool WriteToFile(const std::string& path, const std::vector<unsigned char>& data, bool removeFirst);

/// The same with the bytes of a text.
bool WriteToFile(const std::string& path, const std::string& text, bool removeFirst);

/// name_2026-03-01-14-05-09.extension, in local time.
[[nodiscard]] std::string GenerateFilenameWithTimestamp(std::string name, std::string extension);

/// A name in `dir` of the prefix, a random number of six digits (the first always 0) and ".tmp". Restarts the random
/// numbers of rand(3) from the time: the same arguments give the same name within a second. `dir` stays unchanged.
[[nodiscard]] std::string GenerateTempFilename(std::string& dir, std::string prefix);

} // namespace Vantor
