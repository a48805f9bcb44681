#include "tools/cloud/store/store.h"

#include <openssl/rand.h>

#include <array>
#include <stdexcept>

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kTokenBytes = 6;

/// The part of a file's address that nobody can guess.
std::string NewToken() {
    std::array<unsigned char, kTokenBytes> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw std::runtime_error("no random numbers");
    }
    return Hex(bytes.data(), bytes.size());
}

}  // namespace

Store::Store(std::unique_ptr<Engine> engine, std::string folder, const Keeping &keeping,
             Metrics &metrics)
    : engine_(std::move(engine)),
      folder_(std::move(folder)),
      connection_(engine_->OpenWriter()),
      ledger_(*connection_, keeping) {
    DropStrayContents();
    writer_ = std::make_unique<StoreWriter>(
        *connection_, metrics, [this](const Subject &about) { ledger_.Prepare(about); },
        [this] { ledger_.ForgetMemory(); }, [this] { return ledger_.DoChore(); });
}

Store::~Store() = default;

void Store::DropStrayContents() {
    engine_->DropStrayContents([this](const std::string &token) {
        return connection_->Select("SELECT 1 FROM files WHERE token = ?", {token}).Next();
    });
}

void Store::Post(Subject about, Write write, Done done) {
    writer_->Post(
        {std::move(about), [this, write = std::move(write)] { write(ledger_); }, std::move(done)});
}

Store::Reader Store::Read() {
    std::unique_ptr<Connection> connection;
    {
        const std::lock_guard lock(mutex_);
        if (!readers_.empty()) {
            connection = std::move(readers_.back());
            readers_.pop_back();
        }
    }
    if (!connection) {
        connection = engine_->OpenReader();
    }
    return Reader(*this, std::move(connection));
}

Store::Reader::~Reader() {
    const std::lock_guard lock(store_.mutex_);
    store_.readers_.push_back(std::move(connection_));
}

std::optional<FileContent> Store::FindFile(const std::string &token, const std::string &name) {
    Reader reader = Read();
    Rows row = reader.Get().Query(
        "SELECT size, sn FROM files JOIN gateways g ON g.id = gateway"
        " WHERE token = ? AND files.name = ? AND state <> 'withdrawn'",
        {token, name});
    if (!row.Next()) {
        return std::nullopt;
    }
    return FileContent{engine_->OpenContent(token), row.Number(0), row.Text(1)};
}

std::int64_t Store::OfferFile(const std::string &sn, const NewFile &file) {
    const std::string token = NewToken();
    engine_->KeepContent(token, file.content);
    return Do(sn, [&](Ledger &ledger) { return ledger.OfferFile(sn, file, token); });
}

bool Store::WithdrawFile(const std::string &sn, std::int64_t id) {
    const std::string token = Do(sn, [&](Ledger &ledger) { return ledger.WithdrawFile(sn, id); });
    if (token.empty()) {
        return false;
    }
    engine_->DropContent(token);
    return true;
}

bool Store::ForgetGateway(const std::string &sn) {
    std::vector<std::string> tokens;
    const bool known = Do(sn, [&](Ledger &ledger) {
        tokens.clear();
        return ledger.ForgetGateway(sn, tokens);
    });
    for (const std::string &token : tokens) {
        engine_->DropContent(token);
    }
    writer_->Wake();
    return known;
}

}  // namespace corvenna::cloud
