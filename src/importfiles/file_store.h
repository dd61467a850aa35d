#pragma once

// How the import files reach the disk: where a relative name lands, how a
// whole file is read, and how it is replaced so that nobody ever sees half of
// it.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace mi {

// The folder that stands in for the platform's Windows directory: a relative
// file name is taken relative to it. $XDG_DATA_HOME/meterimport, or
// ~/.local/share/meterimport when XDG_DATA_HOME is unset, empty or relative.
std::filesystem::path DataDirectory();

// A file name as the module means it: absolute names as they are, relative
// names below DataDirectory(). The working directory is never consulted.
std::filesystem::path ResolveDataPath(std::string_view name);

// The same for a file about to be written: for a relative name the folder
// DataDirectory() is created first when it is missing (the Windows directory
// it stands in for always exists).
std::filesystem::path ResolveDataPathForWriting(std::string_view name);

// Replaces `file` with `bytes`: written to a new file beside it in the same
// folder, flushed, then renamed over the old one. On any failure the new file
// is removed, the old one stays whole and the result is false. With
// `sync_to_disk` the data are also forced to the disk before the rename
// (slower; guards against a power cut as well, not only against readers).
bool ReplaceFileAtomically(const std::filesystem::path& file, std::string_view bytes,
                           bool sync_to_disk = false);

}  // namespace mi
