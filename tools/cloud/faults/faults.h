#pragma once

#include <cstdint>
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
/// @return null when there is none of that name.
const FaultKindRow *FindKind(const std::string &name);

/// The exchange that a request belongs to; null when there is none.
const ExchangeRow *FindExchange(std::string_view method, std::string_view segment);

struct Fault {
    std::int64_t id = 0;
    std::string exchange;
    std::string sn;  ///< of the gateway that meets it; empty: every gateway
    FaultKind kind = FaultKind::kStatus;
    long value = 0;
    long left = -1;  ///< how many times it still happens; -1: until it is cleared
    long happened = 0;

    /// "realdata:status=500", "realdata@SN1:status=500"
    std::string Text() const;
};

/// Checks a fault's parts and puts it together.
/// @param sn empty for every gateway.
/// @param value nullopt for the usual one. @param count nullopt for no end.
/// Throws std::invalid_argument with the reason.
Fault MakeFault(const std::string &exchange, const std::string &sn, const std::string &kind,
                std::optional<long> value, std::optional<long> count);

/// Reads EXCHANGE[@SN]:KIND[=VALUE][*COUNT]. Throws std::invalid_argument.
Fault ParseFault(const std::string &text);

}  // namespace corvenna::cloud
