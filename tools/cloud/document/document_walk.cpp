#include "tools/cloud/document/document_walk.h"

namespace corvenna::cloud {

void DocumentWalk::Begin(std::string_view name) {
    if (++elements_ > kMostElements) {
        throw BadDocument("more than " + std::to_string(kMostElements) + " objects");
    }
    if (depth_ + skipped_ >= kDeepestElement) {
        throw BadDocument("nested too deep");
    }
    const Shape *shape = &root_;
    if (depth_ > 0) {
        shape = skipped_ > 0 ? nullptr : entries_[depth_ - 1].Child(name);
        if (shape == nullptr) {
            ++skipped_;
            return;
        }
        entries_[depth_ - 1].CountChild(*shape);
    }
    entries_[depth_].Reset(*shape, typed_);
    ++depth_;
}

void DocumentWalk::End() {
    if (skipped_ > 0) {
        --skipped_;
        return;
    }
    --depth_;
    visitor_.Ended(entries_[depth_]);
}

void DocumentWalk::BeginList(std::string_view name) {
    if (skipped_ == 0) {
        if (const Shape *shape = entries_[depth_ - 1].Child(name)) {
            entries_[depth_ - 1].NoteList(*shape);
        }
    }
}

void DocumentWalk::Text(std::string_view name, std::string_view value, bool number) {
    if (skipped_ == 0) {
        entries_[depth_ - 1].AddText(name, value, number);
    }
}

void DocumentWalk::Other(std::string_view name) {
    if (skipped_ == 0 && entries_[depth_ - 1].HasText(name)) {
        throw BadDocument("\"" + std::string(name) +
                          "\" is neither text, whole number, object nor list");
    }
}

}  // namespace corvenna::cloud
