#pragma once

#include <cstddef>
#include <cstring>

namespace corvenna {

/// Bytes in the order in which they were put, in blocks taken from the system as they are needed
/// and given back when they have been read, so that a burst leaves nothing behind in the host's
/// heap. Holds at most kLimitBytes, the blocks counted whole. Not for several threads at once.
class Blocks {
public:
    static constexpr std::size_t kBlockBytes = 65536;
    static constexpr std::size_t kLimitBytes = 16777216;
    static constexpr std::size_t kSpareBlocks = 48;

    Blocks() = default;
    ~Blocks();
    Blocks(const Blocks &) = delete;
    Blocks &operator=(const Blocks &) = delete;

    /// Makes room for that many bytes, at most half a block.
    /// @return false when they do not fit or there is no memory: nothing has changed.
    bool Reserve(std::size_t size);

    /// Appends bytes. Room for them must have been reserved.
    void Put(const void *bytes, std::size_t size) {
        if (size <= Block::kCapacity - write_.offset) {
            std::memcpy(write_.block->bytes + write_.offset, bytes, size);
            write_.offset += size;
        } else {
            PutAcrossBlocks(bytes, size);
        }
    }

    /// Removes the first bytes, as many as have been put at least.
    void Take(void *bytes, std::size_t size);

    /// Removes all bytes.
    void Clear();

    /// Gives one spare block back to the system.
    void GiveBackSpare();

    /// Holds nothing from now on and gives nothing back: for a forked child, in which another
    /// thread may have been stopped half-way through a change.
    void Forget();

private:
    struct Block {
        static constexpr std::size_t kCapacity = kBlockBytes - sizeof(void *);
        Block *next;
        unsigned char bytes[kCapacity];
    };
    static_assert(sizeof(Block) == kBlockBytes);

    struct Position {
        Block *block = nullptr;
        std::size_t offset = 0;
    };

    void PutAcrossBlocks(const void *bytes, std::size_t size);
    Block *NewBlock();
    void Retire(Block *block);
    void Unmap(Block *block);
    void StartOverWhenEmpty();

    Position read_;
    Position write_;
    Block *spare_ = nullptr;
    std::size_t spares_ = 0;
    std::size_t held_ = 0;  // blocks, the spare ones included
};

}  // namespace corvenna
