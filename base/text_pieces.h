#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "base/handle.h"

namespace corvenna {

/// A text that grows in pieces of fixed size: its length need not be known beforehand, nothing
/// moves when it grows, and it never takes more than itself and about a piece. For one thread at a
/// time. Whatever finds no memory throws std::bad_alloc and leaves the text as it was.
class TextPieces {
public:
    /// The longest run of characters that is sure to lie in one piece.
    static constexpr std::size_t kLongestRun =
        65536 - 32;  // 64 KiB with its NUL and the heap's own

    /// Where the next characters go: there is room for that many, at most kLongestRun.
    char *Room(std::size_t length) {
        if (length > static_cast<std::size_t>(end_ - at_)) {
            BeginPiece();
        }
        return at_;
    }
    /// Takes what was written into the room, up to that end.
    void Take(char *end) { at_ = end; }

    void Append(std::string_view text) {
        for (; text.size() > kLongestRun; text.remove_prefix(kLongestRun)) {
            AppendRun(text.substr(0, kLongestRun));
        }
        AppendRun(text);
    }

    std::size_t Length();

    /// Calls visit(piece) for each piece of the text, until one returns false.
    /// @return whether none did.
    template <class Visit>
    bool ForEach(Visit visit) {
        EndPiece();
        for (const Piece &piece : pieces_) {
            if (!visit(std::string_view(piece.text.get(), piece.length))) {
                return false;
            }
        }
        return true;
    }

    /// Makes one piece of all, with a NUL behind it. The others are given back one by one, so that
    /// this too takes little more than the text.
    /// @return the text, good until the next change.
    const char *Join();

private:
    struct Piece {
        std::unique_ptr<char, FreedBy<std::free>> text;
        std::size_t length;
    };

    void AppendRun(std::string_view run) {
        char *at = Room(run.size());
        std::memcpy(at, run.data(), run.size());
        Take(at + run.size());
    }
    void BeginPiece();
    void EndPiece();

    std::vector<Piece> pieces_;
    char *at_ = nullptr;   ///< in the last piece
    char *end_ = nullptr;  ///< of the last piece; null when that is not written on
};

}  // namespace corvenna
