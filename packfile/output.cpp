#include "packfile/output.h"

// The assertion on an unopenable file belongs to the behaviour and holds in every build.
#undef NDEBUG
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>

#include "base/deflate.h"
#include "base/handle.h"
#include "log/log.h"

namespace corvenna {
namespace {

constexpr std::size_t kCompressedCapacity = 20480;

struct Messages {
    void (*success)(const char *path, int result);
    void (*failure)(const char *path);
};

/// One row for each DataKind, in its order. What fails in the output of JSON is logged where it
/// fails.
constexpr Messages kMessages[] = {
    {[](const char *path, int) { log_Text(kLogInfo, "CreateRealDataJsonFile %s Success", path); },
     nullptr},
    {[](const char *path, int result) {
         log_Text(kLogInfo, "CreateRealDataXmlFile %s Success,fileSize:%d", path, result);
     },
     [](const char *path) { log_Text(kLogWarn, "CreateRealDataXmlFile %s failed", path); }},
    {[](const char *path, int) { log_Text(kLogInfo, "CreateAlarmDataJsonFile %s Success", path); },
     nullptr},
    {[](const char *path, int result) {
         log_Text(kLogInfo, "CreateAlarmDataXmlFile %s Success,fileSize:%d", path, result);
     },
     [](const char *path) { log_Text(kLogWarn, "CreateAlarmDataXmlFile %s failed", path); }},
};

const Messages &MessagesOf(const Target &target) {
    return kMessages[static_cast<std::size_t>(target.kind)];
}

// On purpose: JSON is listed and then logged, XML logged and then listed.

std::int32_t ReportJson(const Target &target, const FilePath &path, bool written) {
    if (!written) {
        return -1;
    }
    target.files->emplace_back(path.text);
    MessagesOf(target).success(path.text, 0);
    return 0;
}

std::int32_t ReportXml(const Target &target, const FilePath &path, std::int32_t result) {
    if (result == -1) {
        MessagesOf(target).failure(path.text);
        return -1;
    }
    MessagesOf(target).success(path.text, result);
    target.files->emplace_back(path.text);
    return result;
}

FilePath PathOf(const Target &target, bool compressed) {
    return PrintFilePath(target.kind, compressed, target.dir, target.time);
}

/// Ours: a file that was opened here but could not be written whole is taken away; nobody is told
/// its name, so nobody would ever delete it from a file system that is full already.
bool GiveUp(const char *path, const char *step, int error) {
    log_Text(kLogError, "Data file %s: %s failed: %s", path, step, std::strerror(error));
    unlink(path);
    return false;
}

/// Ours: every step is looked at, so that no path is listed whose file is not whole.
bool WriteBytes(const char *path, const char *bytes, std::size_t length) {
    File file(std::fopen(path, "wb+"));
    if (file == nullptr) {
        log_Text(kLogError, "Data file %s: open failed: %s", path, std::strerror(errno));
        return false;
    }
    const bool written = std::fwrite(bytes, 1, length, file.get()) == length;
    const int writeError = errno;
    const bool closed = std::fclose(file.release()) == 0;
    if (!written) {
        return GiveUp(path, "write", writeError);
    }
    return closed || GiveUp(path, "close", errno);
}

bool WriteStream(const char *path, const JsonText &text, const OpenAssertion &assertion) {
    std::ofstream ofs;
    ofs.rdbuf()->pubsetbuf(nullptr, 0);  // the document leaves in one piece
    ofs.open(path, std::ios::out | std::ios::trunc);
    if (!ofs.is_open()) {
        __assert_fail("ofs.is_open()", "packfile/packfile", assertion.line, assertion.function);
    }
    ofs.write(text.Text(), static_cast<std::streamsize>(text.Length()));
    const int writeError = errno;
    const bool written = ofs.good();
    ofs.close();
    if (!written) {
        return GiveUp(path, "write", writeError);
    }
    return ofs.good() || GiveUp(path, "close", errno);
}

enum class Compressed { kWritten, kTooLong, kFailed };

struct CompressedFile {
    Compressed outcome;
    std::int32_t length;
};

CompressedFile WriteCompressed(const char *path, const char *text, std::size_t length) {
    char buffer[kCompressedCapacity];
    const Deflated deflated = DeflateWithNul(text, length, buffer, sizeof buffer);
    if (!deflated.whole) {  // Ours: nothing is lost, and no receiver meets half a stream.
        log_Text(kLogWarn, "%s would exceed %zu bytes, the document is written uncompressed", path,
                 kCompressedCapacity);
        return {Compressed::kTooLong, 0};
    }
    if (!WriteBytes(path, buffer, deflated.length)) {
        return {Compressed::kFailed, -1};
    }
    return {Compressed::kWritten, static_cast<std::int32_t>(deflated.length)};
}

CompressedFile DumpCompressed(const char *path, xmlDocPtr document) {
    xmlChar *memory = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document, &memory, &size, "UTF-8", 1);
    const XmlText text(memory);
    if (text == nullptr) {
        return {Compressed::kFailed, -1};
    }
    return WriteCompressed(path, FromXml(text.get()), static_cast<std::size_t>(size));
}

struct SavedXml {
    FilePath path;
    std::int32_t result;
};

SavedXml SaveDocument(const Target &target, xmlDocPtr document) {
    const XmlGuard guard;
    if (target.compress) {
        const FilePath path = PathOf(target, true);
        const CompressedFile file = DumpCompressed(path.text, document);
        if (file.outcome != Compressed::kTooLong) {
            return {path, file.length};
        }
    }
    const FilePath path = PathOf(target, false);
    return {path, xmlSaveFormatFileEnc(path.text, document, "UTF-8", 1)};
}

}  // namespace

std::int32_t SaveJson(const Target &target, const JsonText &text, const OpenAssertion &assertion) {
    if (target.compress) {
        const FilePath path = PathOf(target, true);
        const CompressedFile file = WriteCompressed(path.text, text.Text(), text.Length());
        if (file.outcome != Compressed::kTooLong) {
            return ReportJson(target, path, file.outcome == Compressed::kWritten);
        }
    }
    const FilePath path = PathOf(target, false);
    return ReportJson(target, path, WriteStream(path.text, text, assertion));
}

std::int32_t SaveXml(const Target &target, XmlTree &tree) {
    const SavedXml saved = SaveDocument(target, tree.Document());
    tree.Free();
    CleanUpXml();
    return ReportXml(target, saved.path, saved.result);
}

}  // namespace corvenna
