#include "config/sn_set.h"

#include <cstring>

#include "base/text.h"
#include "base/xml.h"
#include "base/xml_attributes.h"
#include "config/configuration_document.h"
#include "log/log.h"

using namespace corvenna;

namespace {

constexpr RootRule kRoot = {
    "snConfig",
    "parse SN Document failed",
    "parse SN Document failed,empty document.",
    "parse SN Document failed,wrong type,root node is not snConfig",
};

struct Model {
    const char *name;
    int number;
};

constexpr Model kModels[] = {
    {"Varek-A", 0},   {"Varek-A-G", 1}, {"Varek-B", 2},
    {"Varek-B-G", 3}, {"Mosso", 100},   {"Mosso-G", 101},
};
// On purpose: an unknown model is no error and counts as Varek-A-G.
constexpr int kUnknownModel = 1;

/// Letters in front of the digits of a serial text.
std::size_t PrefixLength(int model) {
    return model == 100 || model == 101 ? 3 : 2;
}

/// The attribute of an element, where the node is that element and carries it.
const xmlAttr *AttributeOf(const xmlNode *node, const char *element, const char *attribute) {
    return IsElement(node, element) ? FindAttribute(node, attribute) : nullptr;
}

}  // namespace

CsnSet::CsnSet() = default;

CsnSet::~CsnSet() = default;

int CsnSet::Open(const char *path) {
    return document_.Attempt([&] {
        const XmlGuard guard;
        if (!document_.Open(path, guard)) {
            log_Text(kLogError, "parse Document %s failed", Shown(path));
            return -1;
        }
        return Load(guard);
    });
}

int CsnSet::LoadNodeFromXml() {
    return document_.Attempt([this] { return Load(XmlGuard()); });
}

int CsnSet::Load(const XmlGuard &guard) {
    const xmlNode *root = document_.Root(kRoot, guard);
    if (root == nullptr) {
        return -1;
    }
    const xmlAttr *serial = nullptr;
    for (const xmlNode *node = root->children; node != nullptr; node = node->next) {
        if (const xmlAttr *model = AttributeOf(node, "model", "model")) {
            model_ = ModelToDigit(AttributeText(model).Get());
        } else if (const xmlAttr *sn = AttributeOf(node, "sn", "sn")) {
            CopyText<19>(text_, AttributeText(sn).Get());
            serial = sn;
        }
    }
    if (serial == nullptr || text_[0] == '\0') {
        // Ours: without a serial text the gateway has no name towards the cloud.
        log_Text(kLogError, "parse SN Document failed,no sn attribute");
        document_.Reject(guard);
        return -1;
    }
    Model2Sn(AttributeText(serial).Get());  // the whole value, not the cut copy
    return 0;
}

int CsnSet::Close() {
    return document_.Close();
}

int CsnSet::IsOpen() const {
    return document_.IsOpen();
}

void CsnSet::GetSn(unsigned int *out) const {
    if (out != nullptr) {
        *out = number_;
    }
}

int CsnSet::ModelToDigit(const char *model) {
    for (const Model &known : kModels) {
        if (model != nullptr && std::strcmp(model, known.name) == 0) {
            return known.number;
        }
    }
    return kUnknownModel;
}

void CsnSet::Model2Sn(const unsigned char *sn) {
    Model2Sn(reinterpret_cast<const char *>(sn));
}

void CsnSet::Model2Sn(const char *sn) {
    if (sn == nullptr) {
        return;
    }
    const std::size_t prefix = PrefixLength(model_);
    // Ours: a text shorter than its prefix has no digits; nothing is read behind its end.
    const char *digits = std::strlen(sn) < prefix ? "" : sn + prefix;
    number_ = static_cast<std::uint32_t>(Decimal(digits));
}
