#include "tools/check/value_rules.h"

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "base/text.h"
#include "config/intervals.h"

namespace corvenna::check {

namespace {

using Problem = std::optional<ValueProblem>;

constexpr long kMostPointNumber = 4095;
constexpr long kMostByte = 255;
constexpr long kMostWord = 65535;

/// The character behind the number at the begin of a text; the text itself where there is none.
const char *BehindNumber(const std::string &text, int base) {
    char *end = nullptr;
    static_cast<void>(std::strtol(text.c_str(), &end, base));
    return end;
}

bool IsBlank(const char *text) {
    while (std::isspace(static_cast<unsigned char>(*text)) != 0) {
        ++text;
    }
    return *text == '\0';
}

std::string Quoted(const std::string &text) {
    return "\"" + text + "\"";
}

/// What is no number from its first to its last character.
Problem NotANumber(const std::string &name, const std::string &text, int base) {
    const char *end = BehindNumber(text, base);
    if (end == text.c_str()) {
        return ValueProblem{"not-a-number", name + " is " + Quoted(text) + ", no number",
                            "0 is taken", "write a number"};
    }
    if (!IsBlank(end)) {
        return ValueProblem{"not-a-number",
                            name + " is " + Quoted(text) + ", of which only the begin is a number",
                            "reading stops at " + Quoted(end), "write nothing but the number"};
    }
    return std::nullopt;
}

Problem Becomes(const char *rule, const std::string &name, const std::string &text, long taken,
                const std::string &advice) {
    return ValueProblem{rule, name + " is " + Quoted(text), std::to_string(taken) + " is taken",
                        advice};
}

Problem Width(const std::string &name, const std::string &text, long most) {
    const long value = Decimal(text);
    if (value >= 0 && value <= most) {
        return std::nullopt;
    }
    return Becomes("out-of-range", name, text, value & most,
                   "write a number from 0 to " + std::to_string(most));
}

Problem PointNumber(const std::string &name, const std::string &text) {
    const long value = Decimal(text);
    if (value >= 0 && value <= kMostPointNumber) {
        return std::nullopt;
    }
    return ValueProblem{"point-number", name + " is " + Quoted(text) + ", beyond 4095",
                        "the data id has 12 bits for it: it is that of number " +
                            std::to_string(value & kMostPointNumber),
                        "number the points of a type from 0 to 4095"};
}

Problem Interval(const AttributeRule &rule, const std::string &text) {
    const long value = Decimal(text);
    const auto low = static_cast<std::int16_t>(value);
    const auto least = static_cast<std::int16_t>(rule.limit);
    const long taken = rule.kind == Kind::kRealDataInterval
                           ? RealDataInterval(static_cast<std::uint16_t>(value))
                           : RaisedTo(least, low);
    if (taken == value) {
        return std::nullopt;
    }
    const bool fits = value == low;
    return Becomes(fits ? "interval-too-short" : "out-of-range", rule.name, text, taken,
                   "write at least " + std::to_string(rule.limit) +
                       " and at most 32767 seconds, or -1 for never");
}

Problem Text(const AttributeRule &rule, const std::string &text) {
    const auto limit = static_cast<std::size_t>(rule.limit);
    if (text.size() <= limit) {
        return std::nullopt;
    }
    return ValueProblem{"text-cut",
                        std::string(rule.name) + " has " + std::to_string(text.size()) + " bytes",
                        "it is cut to its first " + std::to_string(limit),
                        "use at most " + std::to_string(limit) + " bytes"};
}

Problem Link(const std::string &name, const std::string &text) {
    if (Problem problem = NotANumber(name, text, 16)) {
        problem->advice = "write eight hexadecimal digits";
        return problem;
    }
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), nullptr, 16);
    if (value > UINT32_MAX || text.find('-') != std::string::npos) {
        return ValueProblem{
            "out-of-range", name + " is " + Quoted(text) + ", more than 32 bits",
            "another data id is taken: its low 32 bits, or ffffffff where long has no more",
            "write eight hexadecimal digits"};
    }
    return std::nullopt;
}

}  // namespace

long Decimal(const std::string &text) {
    return corvenna::Decimal(text.c_str());
}

std::optional<ValueProblem> ProblemOf(const AttributeRule &rule, const std::string &text) {
    switch (rule.kind) {
        case Kind::kText:
            return Text(rule, text);
        case Kind::kName:
        case Kind::kIgnored:
            return std::nullopt;
        case Kind::kDataId:
            return Link(rule.name, text);
        default:
            break;
    }
    if (Problem problem = NotANumber(rule.name, text, 10)) {
        return problem;
    }
    switch (rule.kind) {
        case Kind::kByte:
            return Width(rule.name, text, kMostByte);
        case Kind::kWord:
            return Width(rule.name, text, kMostWord);
        case Kind::kPointNumber:
            return PointNumber(rule.name, text);
        default:
            return Interval(rule, text);
    }
}

}  // namespace corvenna::check
