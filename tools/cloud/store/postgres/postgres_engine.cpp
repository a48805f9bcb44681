#include <algorithm>
#include <charconv>
#include <cstring>
#include <mutex>

#include "tools/cloud/ground/say.h"
#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/engine.h"
#include "tools/cloud/store/postgres/schema.h"
#include "tools/cloud/store/postgres/shared_fault_menu.h"
#include "tools/cloud/store/trouble.h"

namespace corvenna::cloud {
namespace {

constexpr std::int64_t kPiece = 65536;

std::string FromHex(std::string_view digits) {
    std::string bytes(digits.size() / 2, '\0');
    for (char &byte : bytes) {
        unsigned int number = 0;
        std::from_chars(digits.data(), digits.data() + 2, number, 16);
        byte = static_cast<char>(number);
        digits.remove_prefix(2);
    }
    return bytes;
}

std::string HexOf(std::string_view bytes) {
    return Hex(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size());
}

/// A connection that several threads share, one at a time.
struct Shared {
    explicit Shared(std::unique_ptr<PostgresConnection> made) : connection(std::move(made)) {}

    std::mutex mutex;
    std::unique_ptr<PostgresConnection> connection;
};

class StoredContent : public Content {
public:
    StoredContent(std::shared_ptr<Shared> shared, std::string token)
        : shared_(std::move(shared)), token_(std::move(token)) {}

    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const noexcept override {
        try {
            return Fetch(offset, to, length);
        } catch (const std::exception &error) {
            SayRarely(error.what());
            return 0;
        }
    }

private:
    std::size_t Fetch(std::int64_t offset, char *to, std::size_t length) const {
        const std::int64_t end = offset + static_cast<std::int64_t>(length);
        const std::lock_guard lock(shared_->mutex);
        Rows rows = shared_->connection->Select(
            "SELECT piece, encode(content, 'hex') FROM file_pieces"
            " WHERE token = ? AND piece BETWEEN ? AND ? ORDER BY piece",
            {token_, offset / kPiece, (end - 1) / kPiece});
        std::size_t done = 0;
        while (rows.Next() && done < length) {
            const std::string piece = FromHex(rows.View(1));
            const std::int64_t start = offset + static_cast<std::int64_t>(done);
            if (rows.Number(0) != start / kPiece) {
                break;  // one is missing
            }
            const auto skipped = static_cast<std::size_t>(start % kPiece);
            done += skipped < piece.size() ? piece.copy(to + done, length - done, skipped) : 0;
        }
        return done;
    }

    std::shared_ptr<Shared> shared_;
    std::string token_;
};

class PostgresEngine : public Engine {
public:
    PostgresEngine(const std::string &address, std::chrono::seconds limit)
        : server_(std::make_shared<PostgresServer>(address, limit)) {}

    std::unique_ptr<Connection> OpenWriter() override {
        auto connection = Connect(PostgresConnection::Use::kWriting);
        if (PrepareTables(*connection) == Layout::kEarlier) {
            MigrateTables(*Connect(PostgresConnection::Use::kWriting));
        }
        contents_ = std::make_shared<Shared>(Connect(PostgresConnection::Use::kReading));
        return connection;
    }
    std::unique_ptr<Connection> OpenReader() override {
        return Connect(PostgresConnection::Use::kReading);
    }

    /// On a connection of its own, as what is dropped is: it may take long, and is rare, while
    /// downloads go on.
    void KeepContent(const std::string &token, std::string_view content) override {
        const auto connection = Connect(PostgresConnection::Use::kWriting);
        Transaction transaction(*connection);
        std::int64_t piece = 0;
        do {  // nothing is a piece as well
            const auto length = std::min(content.size(), static_cast<std::size_t>(kPiece));
            connection->Run(
                "INSERT INTO file_pieces(token, piece, content) VALUES(?, ?, decode(?, 'hex'))",
                {token, piece++, HexOf(content.substr(0, length))});
            content.remove_prefix(length);
        } while (!content.empty());
        transaction.Commit();
    }
    /// Asks before an answer has begun, which could only be cut off then.
    std::shared_ptr<const Content> OpenContent(const std::string &token) override {
        const std::lock_guard lock(contents_->mutex);
        Rows piece = contents_->connection->Select(
            "SELECT 1 FROM file_pieces WHERE token = ? AND piece = 0", {token});
        return piece.Next() ? std::make_shared<StoredContent>(contents_, token) : nullptr;
    }
    void DropContent(const std::string &token) override {
        Connect(PostgresConnection::Use::kWriting)
            ->Run("DELETE FROM file_pieces WHERE token = ?", {token});
    }
    /// Another process may be about to write the line of a content that is young.
    void DropStrayContents(
        const std::function<bool(const std::string &token)> & /*isKnown*/) override {
        const std::lock_guard lock(contents_->mutex);
        contents_->connection->Execute(
            "DELETE FROM file_pieces p WHERE kept < now() - interval '1 hour'"
            " AND NOT EXISTS (SELECT 1 FROM files f WHERE f.token = p.token)");
    }

    std::string Secret(const std::string &name, const std::string &fresh) override {
        const std::lock_guard lock(contents_->mutex);
        contents_->connection->Run(
            "INSERT INTO secrets(name, value) VALUES(?, ?) ON CONFLICT DO NOTHING",
            {name, HexOf(fresh)});
        Rows row =
            contents_->connection->Select("SELECT value FROM secrets WHERE name = ?", {name});
        return row.Next() ? FromHex(row.View(0)) : fresh;
    }

    std::unique_ptr<FaultMenu> OpenFaultMenu() override {
        return std::make_unique<SharedFaultMenu>(server_);
    }

    void EndWaitsBy(std::chrono::steady_clock::time_point end) override {
        server_->patience.EndBy(end);
    }

private:
    std::unique_ptr<PostgresConnection> Connect(PostgresConnection::Use use) {
        return std::make_unique<PostgresConnection>(server_, use);
    }

    std::shared_ptr<PostgresServer> server_;
    std::shared_ptr<Shared> contents_;
};

/// The library's own words about an address show what it took a password for.
void RefuseUnreadable(const std::string &address) {
    using Options = std::unique_ptr<PQconninfoOption, FreedBy<PQconninfoFree>>;
    char *words = nullptr;
    const Options options(PQconninfoParse(address.c_str(), &words));
    const std::unique_ptr<char, FreedBy<PQfreemem>> owned(words);
    bool readable = options != nullptr;
    for (const PQconninfoOption *option = options.get(); readable && option->keyword; ++option) {
        readable = std::strcmp(option->keyword, "port") != 0 || option->val == nullptr ||
                   std::strspn(option->val, "0123456789,") == std::strlen(option->val);
    }
    if (!readable) {
        throw StoreFailure(
            "the address of --store cannot be read; in a password % is written %25, / %2F, @ %40",
            kStoreFailed);
    }
}

}  // namespace

std::unique_ptr<Engine> MakePostgresEngine(const std::string &address, std::chrono::seconds limit) {
    RefuseUnreadable(address);
    return std::make_unique<PostgresEngine>(address, limit);
}

}  // namespace corvenna::cloud
