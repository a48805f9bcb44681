#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvenna::cloud {

/// What the server does wrong on demand.
enum class FaultKind {
    kStatus,
    kDelay,
    kDrip,
    kResetBefore,
    kResetInside,
    kLengthLong,
    kLengthShort,
    kChunks,
    kTruncate,
    kGarbage,
    kGarbageBody,
    kTlsOld,
    kTlsBreak,
};

/// One kind as the fault menu shows it.
struct FaultKindRow {
    FaultKind kind;
    const char *name;
    const char *meaning;
    const char *valueMeaning;  ///< null when the kind takes no value
    long lowest, highest, usual;
};

/// One exchange that faults can be chosen for, or "any" or "connection" (before any request).
struct ExchangeRow {
    const char *name;
    const char *method;
    const char *segment;  ///< first segment of the path behind the prefix
};

const std::vector<FaultKindRow> &FaultKinds();
const std::vector<ExchangeRow> &Exchanges();
const FaultKindRow &RowOf(FaultKind kind);

/// The exchange that a request belongs to; null when there is none.
const ExchangeRow *FindExchange(std::string_view method, std::string_view segment);

struct Fault {
    std::int64_t id = 0;
    std::string exchange;
    FaultKind kind = FaultKind::kStatus;
    long value = 0;
    long left = -1;  ///< how many times it still happens; -1: until it is cleared
    long happened = 0;

    /// "realdata:status=500"
    std::string Text() const;
};

/// Checks a fault's parts and puts it together.
/// @param value nullopt for the usual one. @param count nullopt for no end.
/// Throws std::invalid_argument with the reason.
Fault MakeFault(const std::string &exchange, const std::string &kind, std::optional<long> value,
                std::optional<long> count);

/// Reads EXCHANGE:KIND[=VALUE][*COUNT]. Throws std::invalid_argument.
Fault ParseFault(const std::string &text);

/// The faults that are set, oldest first. Any thread may call.
class FaultMenu {
public:
    Fault Add(Fault fault);
    bool Remove(std::int64_t id);
    void Clear();
    std::vector<Fault> List() const;
    /// The first fault for an exchange, which then has happened once more.
    std::optional<Fault> Take(std::string_view exchange);

private:
    mutable std::mutex mutex_;
    std::vector<Fault> faults_;
    std::int64_t lastId_ = 0;
};

}  // namespace corvenna::cloud
