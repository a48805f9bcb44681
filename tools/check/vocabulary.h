#pragma once

#include <string>
#include <vector>

namespace corvenna::check {

/// Bytes that the plug-in keeps of texts.
constexpr long kAddressBytes = 62;
constexpr long kFormatBytes = 14;
constexpr long kSerialBytes = 18;
constexpr long kDeviceTextBytes = 126;

/// The protocol of the forwarding channels whose tables are read.
constexpr const char *kForwardedProtocol = "MODBUS_TCP";

/// What the plug-in makes of an attribute's text.
enum class Kind {
    kText,              ///< cut to `limit` bytes
    kName,              ///< kept whole
    kByte,              ///< the low 8 bits of a number
    kWord,              ///< the low 16 bits
    kPointNumber,       ///< 12 bits
    kRealDataInterval,  ///< below `limit`: 300; negative: never
    kInterval,          ///< 1 to below `limit`: raised to it
    kDataId,            ///< hexadecimal, 32 bits
    kIgnored,           ///< not looked at
};

/// What is taken where an attribute is left out.
enum class Absent {
    kDefault,    ///< a default of its own, as it is meant
    kInherited,  ///< that of the element before
    kNeeded,     ///< that of the element before; without one the element makes no sense
};

struct AttributeRule {
    const char *name;
    Kind kind;
    long limit;
    Absent absent;
};

struct ElementRule {
    const char *name;
    const char *parent;
    std::vector<AttributeRule> attributes;
    bool standsOnce = false;  ///< of several, the last one counts
};

/// The elements of one file, the root first.
using Vocabulary = std::vector<ElementRule>;

const Vocabulary &SystemVocabulary();
const Vocabulary &IdentityVocabulary();
const Vocabulary &TemplateVocabulary();
const Vocabulary &PointVocabulary();
const Vocabulary &ForwardVocabulary();

/// Lists of points and their type codes.
struct PointType {
    const char *element;
    unsigned code;
};
constexpr PointType kPointTypes[] = {{"AI", 0}, {"DI", 1}, {"ACC", 2}, {"DO", 3}, {"AO", 4}};

bool DiffersInCaseOnly(const std::string &text, const std::string &expected);

}  // namespace corvenna::check
