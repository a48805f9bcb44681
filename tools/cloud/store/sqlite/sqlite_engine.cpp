#include <fcntl.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "base/file_descriptor.h"
#include "tools/cloud/ground/durable_file.h"
#include "tools/cloud/ground/read_at.h"
#include "tools/cloud/store/engine.h"
#include "tools/cloud/store/sqlite/schema.h"

namespace corvenna::cloud {
namespace {

namespace fs = std::filesystem;

class OpenFile : public Content {
public:
    explicit OpenFile(FileDescriptor file) : file_(std::move(file)) {}

    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const noexcept override {
        return ReadAt(file_, offset, to, length);
    }

private:
    FileDescriptor file_;
};

class SqliteEngine : public Engine {
public:
    explicit SqliteEngine(const std::string &folder)
        : folder_(folder), database_(folder + "/cloud.db"), files_(folder + "/files/") {
        fs::create_directories(files_);
    }

    std::unique_ptr<Connection> OpenWriter() override { return OpenForWriting(database_); }
    std::unique_ptr<Connection> OpenReader() override { return OpenForReading(database_); }

    void KeepContent(const std::string &token, std::string_view content) override {
        WriteDurably(files_ + token, content, 0600);
    }
    std::shared_ptr<const Content> OpenContent(const std::string &token) override {
        FileDescriptor file(open((files_ + token).c_str(), O_RDONLY | O_CLOEXEC));
        return file ? std::make_shared<OpenFile>(std::move(file)) : nullptr;
    }
    void DropContent(const std::string &token) override { fs::remove(files_ + token); }
    void DropStrayContents(const std::function<bool(const std::string &token)> &isKnown) override {
        for (const auto &entry : fs::directory_iterator(files_)) {
            if (!isKnown(entry.path().filename().string())) {
                fs::remove(entry.path());
            }
        }
    }

    std::string Secret(const std::string &name, const std::string &fresh) override {
        std::ifstream file(folder_ + "/" + name, std::ios::binary);
        std::string secret{std::istreambuf_iterator<char>(file), {}};
        if (secret.size() != fresh.size()) {
            secret = fresh;
            WriteDurably(folder_ + "/" + name, secret, 0600);
        }
        return secret;
    }

    /// One process has the folder: its faults are its own, and end with it as they always did.
    std::unique_ptr<FaultMenu> OpenFaultMenu() override { return std::make_unique<OwnFaultMenu>(); }

private:
    std::string folder_, database_, files_;
};

}  // namespace

std::unique_ptr<Engine> MakeSqliteEngine(const std::string &folder) {
    return std::make_unique<SqliteEngine>(folder);
}

}  // namespace corvenna::cloud
