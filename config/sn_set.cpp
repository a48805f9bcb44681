#include "config/sn_set.h"

#include <cstring>

#include "base/attributes.h"
#include "base/text.h"
#include "base/xml.h"
#include "config/root.h"
#include "log/log.h"

namespace {

using corvenna::AttributeText;
using corvenna::CopyText;
using corvenna::Decimal;
using corvenna::FindAttribute;
using corvenna::IsElement;
using corvenna::XmlGuard;

constexpr corvenna::RootMessages kRootMessages = {
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

/// Letters in front of the digits of a serial text; 0 when the model has no digits to read.
std::size_t PrefixLength(int model) {
    if (0 <= model && model <= 3) {
        return 2;
    }
    return model == 100 || model == 101 ? 3 : 0;
}

/// The attribute of an element, where the node is that element and carries it.
const xmlAttr *AttributeOf(const xmlNode *node, const char *element, const char *attribute) {
    return IsElement(node, element) ? FindAttribute(node, attribute) : nullptr;
}

}  // namespace

CsnSet::CsnSet() = default;

CsnSet::~CsnSet() {
    Close();
}

int CsnSet::Open(const char *path) {
    const XmlGuard guard;
    document_ = corvenna::ParseConfiguration(path);
    if (document_ == nullptr) {
        log_Text(kLogError, "parse Document %s failed", path != nullptr ? path : "");
        return -1;
    }
    xmlKeepBlanksDefault(0);
    return Load();
}

int CsnSet::LoadNodeFromXml() {
    const XmlGuard guard;
    return Load();
}

int CsnSet::Load() {
    const xmlNode *root = corvenna::CheckRoot(document_, "snConfig", kRootMessages);
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
        document_.reset();
        return -1;
    }
    Model2Sn(AttributeText(serial).Get());  // the whole value, not the cut copy
    return 0;
}

int CsnSet::Close() {
    const XmlGuard guard;
    if (document_ == nullptr) {
        return -1;
    }
    document_.reset();
    return 0;
}

int CsnSet::IsOpen() const {
    return document_ != nullptr ? 0 : -1;
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
    const std::size_t prefix = PrefixLength(model_);
    if (prefix == 0 || sn == nullptr) {
        return;
    }
    // Ours: a text shorter than its prefix has no digits; nothing is read behind its end.
    const char *digits = std::strlen(sn) < prefix ? "" : sn + prefix;
    number_ = static_cast<std::uint32_t>(Decimal(digits));
}
