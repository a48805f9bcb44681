#include "base/text_pieces.h"

#include <new>
#include <utility>

namespace corvenna {
namespace {

/// realloc that throws; the block stays as it is then.
char *Resized(char *block, std::size_t length) {
    auto *resized = static_cast<char *>(std::realloc(block, length));
    if (resized == nullptr) {
        throw std::bad_alloc();
    }
    return resized;
}

}  // namespace

std::size_t TextPieces::Length() {
    std::size_t length = 0;
    ForEach([&length](std::string_view piece) {
        length += piece.size();
        return true;
    });
    return length;
}

void TextPieces::BeginPiece() {
    EndPiece();
    Piece piece{decltype(Piece::text)(Resized(nullptr, kLongestRun + 1)), 0};
    pieces_.push_back(std::move(piece));
    at_ = pieces_.back().text.get();
    end_ = at_ + kLongestRun;
}

void TextPieces::EndPiece() {
    if (end_ != nullptr) {
        Piece &last = pieces_.back();
        last.length = static_cast<std::size_t>(at_ - last.text.get());
    }
}

const char *TextPieces::Join() {
    if (pieces_.empty()) {
        BeginPiece();
    }
    EndPiece();
    Piece &whole = pieces_.front();
    for (std::size_t i = 1; i < pieces_.size(); ++i) {
        Piece &piece = pieces_[i];
        char *text = Resized(whole.text.get(), whole.length + piece.length + 1);
        static_cast<void>(whole.text.release());
        whole.text.reset(text);
        std::memcpy(text + whole.length, piece.text.get(), piece.length);
        whole.length += piece.length;
        piece = {nullptr, 0};
    }
    pieces_.resize(1);
    at_ = end_ = nullptr;
    whole.text.get()[whole.length] = '\0';
    return whole.text.get();
}

}  // namespace corvenna
