#include "packfile/output.h"

// The assertion on an unopenable file belongs to the behaviour and holds in every build.
#undef NDEBUG
#include <libxml/uri.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "base/deflate.h"
#include "base/file_url.h"
#include "base/handle.h"
#include "base/pipe.h"
#include "base/xml.h"
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

FilePath PathOf(const Target &target, bool compressed) {
    return PrintFilePath(target.kind, compressed, target.dir, target.time);
}

/// A path on its way into the host's list.
/// Ours: made before its file is, so that no file is written that cannot be listed.
class Listing {
public:
    Listing(std::vector<std::string> &files, const char *path) : files_(files), path_(path) {
        files_.emplace_back();  // makes room
        files_.pop_back();
    }
    void Append() { files_.push_back(std::move(path_)); }

private:
    std::vector<std::string> &files_;
    std::string path_;
};

/// Ours: a file that was opened here but could not be written whole is taken away; nobody is told
/// its name, so nobody would ever delete it from a file system that is full already.
bool GiveUp(const char *path, const char *step, int error) {
    log_Text(kLogError, "Data file %s: %s failed: %s", path, step, std::strerror(error));
    unlink(path);
    return false;
}

/// Ours: every step is looked at, so that no path is listed whose file is not whole.
bool WriteWhole(const char *path, File file, TextPieces &text) {
    const bool written = text.ForEach([&file](std::string_view piece) {
        return std::fwrite(piece.data(), 1, piece.size(), file.get()) == piece.size();
    });
    const int writeError = errno;
    const bool closed = std::fclose(file.release()) == 0;
    if (!written) {
        return GiveUp(path, "write", writeError);
    }
    return closed || GiveUp(path, "close", errno);
}

/// Ours: a pipe in the file's place holds nobody up until its reader comes; it fails like one that
/// is opened without waiting.
File OpenToWrite(const char *path, const char *mode) {
    if (IsPipe(path)) {
        errno = ENXIO;
        return nullptr;
    }
    return File(std::fopen(path, mode));
}

bool ReportUnopened(const char *path, int error) {
    log_Text(kLogError, "Data file %s: open failed: %s", path, std::strerror(error));
    return false;
}

bool WriteCompressed(const char *path, TextPieces &stream) {
    File file(OpenToWrite(path, "wb+"));
    if (file == nullptr) {
        return ReportUnopened(path, errno);
    }
    return WriteWhole(path, std::move(file), stream);
}

/// Ours: being short of memory is no reason to stop the process or to leave without a message.
void ThrowIfOutOfMemory(int openError) {
    if (openError == ENOMEM) {
        throw std::bad_alloc();
    }
}

bool WriteJson(const char *path, TextPieces &text, const OpenAssertion &assertion) {
    if (IsPipe(path)) {  // Ours: nor does it stop the process.
        return ReportUnopened(path, ENXIO);
    }
    char none[1];
    std::ofstream ofs;
    ofs.rdbuf()->pubsetbuf(none, sizeof none);  // the pieces leave as they are
    ofs.open(path, std::ios::out | std::ios::trunc);
    if (!ofs.is_open()) {
        ThrowIfOutOfMemory(errno);
        __assert_fail("ofs.is_open()", "packfile/packfile", assertion.line, assertion.function);
    }
    const bool written = text.ForEach([&ofs](std::string_view piece) {
        return ofs.write(piece.data(), static_cast<std::streamsize>(piece.size())).good();
    });
    const int writeError = errno;
    ofs.close();
    if (!written) {
        return GiveUp(path, "write", writeError);
    }
    return ofs.good() || GiveUp(path, "close", errno);
}

/// A path with its escapes resolved, where libxml2 would resolve them: it reads a path to save to
/// as a URI reference. Null where there are none.
XmlText Unescaped(const char *path) {
    if (std::strchr(path, '%') == nullptr) {
        return nullptr;
    }
    const XmlGuard guard;
    errno = 0;
    const std::unique_ptr<xmlURI, FreedBy<xmlFreeURI>> uri(xmlParseURI(path));
    XmlText name;
    if (uri != nullptr && (uri->scheme == nullptr || std::strcmp(uri->scheme, "file") == 0)) {
        name.reset(reinterpret_cast<xmlChar *>(xmlURIUnescapeString(path, 0, nullptr)));
    }
    ThrowIfOutOfMemory(errno);
    return name;
}

/// On purpose: a file that cannot be opened gets the message of a failed save and no other.
bool WriteXml(const char *path, TextPieces &text) {
    const XmlText unescaped = Unescaped(path);
    for (const char *name : {FromXml(unescaped.get()), path}) {
        if (name == nullptr) {
            continue;
        }
        // The URLs that libxml2 knows where it saves.
        const char *opened = WithoutScheme(name, {"file://localhost/", "file:///"});
        File file(OpenToWrite(opened, "wb"));
        if (file != nullptr) {
            return WriteWhole(opened, std::move(file), text);
        }
        ThrowIfOutOfMemory(errno);
    }
    return false;
}

/// Compresses a document, which it joins.
/// @return whether the stream fits the receivers' buffer.
bool Compress(const char *path, TextPieces &document, TextPieces &stream) {
    const std::size_t length = document.Length();
    char *room = stream.Room(kCompressedCapacity);
    const Deflated deflated = DeflateWithNul(document.Join(), length, room, kCompressedCapacity);
    if (!deflated.whole) {  // Ours: nothing is lost, and no receiver meets half a stream.
        log_Text(kLogWarn, "%s would exceed %zu bytes, the document is written uncompressed", path,
                 kCompressedCapacity);
        return false;
    }
    stream.Take(room + deflated.length);
    return true;
}

/// A document as it goes to the disk.
struct Packed {
    Packed(const Target &target, TextPieces &document)
        : compressed(target.compress && Compress(PathOf(target, true).text, document, stream)),
          path(PathOf(target, compressed)),
          listing(*target.files, path.text) {}

    TextPieces stream;
    bool compressed;
    FilePath path;
    Listing listing;
};

}  // namespace

// On purpose: JSON is listed and then logged, XML logged and then listed.

std::int32_t SaveJson(const Target &target, TextPieces &document, const OpenAssertion &assertion) {
    Packed packed(target, document);
    const char *path = packed.path.text;
    const bool written = packed.compressed ? WriteCompressed(path, packed.stream)
                                           : WriteJson(path, document, assertion);
    if (!written) {
        return -1;
    }
    packed.listing.Append();
    MessagesOf(target).success(path, 0);
    return 0;
}

std::int32_t SaveXml(const Target &target, TextPieces &document) {
    Packed packed(target, document);
    const char *path = packed.path.text;
    const bool written =
        packed.compressed ? WriteCompressed(path, packed.stream) : WriteXml(path, document);
    CleanUpXml();
    if (!written) {
        MessagesOf(target).failure(path);
        return -1;
    }
    const auto length =
        static_cast<std::int32_t>(packed.compressed ? packed.stream.Length() : document.Length());
    MessagesOf(target).success(path, length);
    packed.listing.Append();
    return length;
}

}  // namespace corvenna
