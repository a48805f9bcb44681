#pragma once

#include <optional>

struct down_file_para;

namespace corvenna {

/// A command line for the shell. The longest one, of a plain file with 511 characters of path and
/// name each, has room.
struct ShellCommand {
    char text[2048];
};

// The types of offered files that something is done for.
constexpr int kUpdatePackage = 0;      ///< an archive of update.vpk and update.xml
constexpr int kConfigurationFile = 1;  ///< packed into an update of its own
constexpr int kPlainFile = 9;          ///< copied to a folder of the gateway

/// Whether a POSIX shell takes a text as exactly one word and as it stands: not empty, no "-" or
/// "~" in front, and nothing but letters, digits, bytes of non-ASCII letters and a few harmless
/// marks. (A "~" behind ":" or "=" would mean a home in an assignment only, which the commands do
/// not begin with; "!" and "^" mean something where a command begins and to a terminal.)
bool IsPlainWord(const char *text);

/// Whether the texts of an offer that its type makes words of a command are plain. (The digest
/// names the local file and is checked apart.)
bool AreInstallWordsPlain(const down_file_para &offer);

/// Whether an offer's type has it copied into a named pipe: at its target, or in the folder that
/// the target is, by the local file's name.
/// Ours: the shell would wait there for a reader, for ever where there is none.
bool GoesIntoPipe(const down_file_para &offer, const char *local);

/// Writes the MD5 sum of one file into another. At most 511 characters.
ShellCommand DigestCommand(const char *file, const char *digestFile);

/// Hands a verified local file on, by the offer's type; nothing for a type without a command.
/// To be run only when all its words are plain.
std::optional<ShellCommand> InstallCommand(const down_file_para &offer, const char *local);

/// Runs a command and waits for a child of the process to end. What became of the command is not
/// looked at.
/// @return false when no child process could be made.
bool RunInShell(const char *command);

}  // namespace corvenna
