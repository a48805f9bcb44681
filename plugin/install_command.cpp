#include "plugin/install_command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "base/file_descriptor.h"
#include "base/pipe.h"
#include "base/text.h"
#include "base/undisturbed.h"
#include "message/records.h"
#include "plugin/last_name.h"

namespace corvenna {
namespace {

// The commands' texts are fixed. They need a shell whose `let` and `echo -e` work, as the gateway's
// do. Quotes and backslashes are the shell's.

ShellCommand PackageCommand(const char *local) {
    ShellCommand command;
    // clang-format off
    PrintText(AllOf(command.text), R"(cd /media/mmcblk0p1 &&unzip %s&& let s=`ls -l update.vpk|awk '{print $5}'`&&sed -i "/filesize/{s/size=\"[0-9]*\"/size=\"$s\"/}" update.xml&& mv update.vpk /tmp/uploads && mv update.xml /tmp/uploads)", local);
    // clang-format on
    return command;
}

ShellCommand ConfigurationCommand(const char *local) {
    ShellCommand command;
    // On purpose: the description closes "upDateConfig", which it never opened.
    // clang-format off
    PrintText(AllOf(command.text), R"(cd /media/mmcblk0p1&&mv %s config.conf&&zip -j update.vpk config.conf&& let s=`ls -l update.vpk|awk '{print $5}'`&&echo -e "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<updateConfig Ver=\"1.00\">\r\n<Protocol Name=\"updateConfig\" />\r\n<filesize size=\"$s\" />\r\n<file fileName=\"config.conf\" sendFilePath=\"/quorvane/Config\" filetype=\"conf\"/>\r\n</upDateConfig>">update.xml&& mv update.vpk /tmp/uploads && mv update.xml /tmp/uploads)", local);
    // clang-format on
    return command;
}

ShellCommand CopyCommand(const down_file_para &offer, const char *local) {
    char name[sizeof offer.file];
    getlastname(offer.file, name);
    ShellCommand command;
    PrintText(AllOf(command.text), "cp -rf %s %s/%s", local, offer.path, name);
    return command;
}

/// ASCII marks beside letters and digits that mean nothing to a POSIX shell in the middle of a
/// word.
constexpr char kHarmlessMarks[] = "/._-+,:=@%~^!";

bool IsPlain(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 0x80 || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || std::strchr(kHarmlessMarks, byte) != nullptr;
}

/// Makes a descriptor the standard input of what is executed next; with none there is no input.
void UseAsInput(int descriptor) {
    if (descriptor == STDIN_FILENO) {
        fcntl(descriptor, F_SETFD, 0);  // a host without an input of its own: it is there already
    } else if (descriptor < 0 || dup2(descriptor, STDIN_FILENO) < 0) {
        close(STDIN_FILENO);
    }
}

}  // namespace

bool IsPlainWord(const char *text) {
    if (*text == '\0' || *text == '-' || *text == '~') {
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

bool GoesIntoPipe(const down_file_para &offer, const char *local) {
    if (offer.type != kPlainFile) {
        return false;
    }
    char name[sizeof offer.file];
    char target[sizeof offer.path + sizeof offer.file + NAME_MAX];
    PrintText(AllOf(target), "%s/%s", offer.path, getlastname(offer.file, name));
    if (IsPipe(target)) {
        return true;
    }
    const char *slash = std::strrchr(local, '/');
    PrintText(AllOf(target), "%s/%s/%s", offer.path, name, slash != nullptr ? slash + 1 : local);
    return IsPipe(target);
}

ShellCommand DigestCommand(const char *file, const char *digestFile) {
    ShellCommand command;
    PrintText(UpTo<512>(command.text), "md5sum %s > %s", file, digestFile);
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
    const FileDescriptor noInput(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const int input = noInput.Get();
    const pid_t child =
        vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork): no copy of a big host
    if (child == 0) {
        UseAsInput(input);    // NOLINT(clang-analyzer-unix.Vfork): touches no memory
        AllowWriteSignals();  // likewise
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
