#include "plugin/install_command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/handle.h"
#include "base/text.h"
#include "message/records.h"
#include "plugin/download.h"

namespace corvenna {
namespace {

// The commands' texts are fixed. They need a shell whose `let` and `echo -e` work, as the gateway's
// do. Quotes and backslashes are the shell's.

ShellCommand PackageCommand(const char *local) {
    ShellCommand command;
    // clang-format off
    PrintText<sizeof command.text>(command.text, R"(cd /media/mmcblk0p1 &&unzip %s&& let s=`ls -l update.vpk|awk '{print $5}'`&&sed -i "/filesize/{s/size=\"[0-9]*\"/size=\"$s\"/}" update.xml&& mv update.vpk /tmp/uploads && mv update.xml /tmp/uploads)", local);
    // clang-format on
    return command;
}

ShellCommand ConfigurationCommand(const char *local) {
    ShellCommand command;
    // On purpose: the description closes "upDateConfig", which it never opened.
    // clang-format off
    PrintText<sizeof command.text>(command.text, R"(cd /media/mmcblk0p1&&mv %s config.conf&&zip -j update.vpk config.conf&& let s=`ls -l update.vpk|awk '{print $5}'`&&echo -e "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<updateConfig Ver=\"1.00\">\r\n<Protocol Name=\"updateConfig\" />\r\n<filesize size=\"$s\" />\r\n<file fileName=\"config.conf\" sendFilePath=\"/quorvane/Config\" filetype=\"conf\"/>\r\n</upDateConfig>">update.xml&& mv update.vpk /tmp/uploads && mv update.xml /tmp/uploads)", local);
    // clang-format on
    return command;
}

ShellCommand CopyCommand(const down_file_para &offer, const char *local) {
    char name[sizeof offer.file];
    getlastname(offer.file, name);
    ShellCommand command;
    PrintText<sizeof command.text>(command.text, "cp -rf %s %s/%s", local, offer.path, name);
    return command;
}

/// ASCII marks beside letters and digits that mean nothing to a shell in the middle of a word.
constexpr char kHarmlessMarks[] = "/._-+,:=@%";

bool IsPlain(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 0x80 || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || std::strchr(kHarmlessMarks, byte) != nullptr;
}

/// Makes a descriptor the standard input of what is executed next.
void UseAsInput(int descriptor) {
    if (descriptor == STDIN_FILENO) {
        fcntl(descriptor, F_SETFD, 0);  // a host without an input of its own: it is there already
    } else {
        dup2(descriptor, STDIN_FILENO);
    }
}

}  // namespace

bool IsPlainWord(const char *text) {
    if (*text == '\0' || *text == '-') {
        return false;
    }
    for (; *text != '\0'; ++text) {
        if (!IsPlain(*text)) {
            return false;
        }
    }
    return true;
}

bool AreInstallWordsPlain(const down_file_para &offer) {
    if (offer.type != kPlainFile) {
        return true;
    }
    char name[sizeof offer.file];
    return IsPlainWord(offer.file) && *getlastname(offer.file, name) != '\0' &&
           IsPlainWord(offer.path);
}

ShellCommand DigestCommand(const char *file, const char *digestFile) {
    ShellCommand command;
    PrintText<512>(command.text, "md5sum %s > %s", file, digestFile);
    return command;
}

std::optional<ShellCommand> InstallCommand(const down_file_para &offer, const char *local) {
    switch (offer.type) {
        case kUpdatePackage:
            return PackageCommand(local);
        case kConfigurationFile:
            return ConfigurationCommand(local);
        case kPlainFile:
            return CopyCommand(offer, local);
        default:
            return std::nullopt;
    }
}

bool RunInShell(const char *command) {
    // Ours: unzip asks when a file is in its way or the card is full. It must find the end of its
    // input, or the download thread would wait for somebody at the host's.
    const File noInput(std::fopen("/dev/null", "re"));
    const int input = noInput ? fileno(noInput.get()) : -1;
    const pid_t child =
        vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork): no copy of a big host
    if (child == 0) {
        UseAsInput(input);  // NOLINT(clang-analyzer-unix.Vfork): touches no memory
        execl("/bin/sh", "sh", "-c", command, nullptr);
        _exit(127);
    }
    if (child < 0) {
        return false;
    }
    // On purpose: any child will do; one that the host made may end the wait early.
    while (waitpid(-1, nullptr, 0) == -1 && errno == EINTR) {
    }
    return true;
}

}  // namespace corvenna
