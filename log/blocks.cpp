#include "log/blocks.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace corvenna {

Blocks::~Blocks() {
    while (read_.block != nullptr) {
        Unmap(std::exchange(read_.block, read_.block->next));
    }
    while (spare_ != nullptr) {
        GiveBackSpare();
    }
}

bool Blocks::Reserve(std::size_t size) {
    if (write_.block == nullptr) {
        Block *const first = NewBlock();
        read_ = write_ = {first, 0};
        return first != nullptr;
    }
    if (size <= Block::kCapacity - write_.offset || write_.block->next != nullptr) {
        return true;
    }
    write_.block->next = NewBlock();
    return write_.block->next != nullptr;
}

void Blocks::PutAcrossBlocks(const void *bytes, std::size_t size) {
    const auto *from = static_cast<const unsigned char *>(bytes);
    while (size > 0) {
        if (write_.offset == Block::kCapacity) {
            write_ = {write_.block->next, 0};
        }
        const std::size_t part = std::min(size, Block::kCapacity - write_.offset);
        std::memcpy(write_.block->bytes + write_.offset, from, part);
        write_.offset += part;
        from += part;
        size -= part;
    }
}

void Blocks::Take(void *bytes, std::size_t size) {
    auto *to = static_cast<unsigned char *>(bytes);
    while (size > 0) {
        if (read_.offset == Block::kCapacity) {
            Retire(std::exchange(read_, {read_.block->next, 0}).block);
        }
        const std::size_t part = std::min(size, Block::kCapacity - read_.offset);
        std::memcpy(to, read_.block->bytes + read_.offset, part);
        read_.offset += part;
        to += part;
        size -= part;
    }
    StartOverWhenEmpty();
}

void Blocks::Clear() {
    while (read_.block != write_.block) {
        Retire(std::exchange(read_, {read_.block->next, 0}).block);
    }
    read_.offset = write_.offset;
    StartOverWhenEmpty();
}

void Blocks::GiveBackSpare() {
    if (spare_ != nullptr) {
        --spares_;
        Unmap(std::exchange(spare_, spare_->next));
    }
}

void Blocks::Forget() {
    read_ = write_ = {};
    spare_ = nullptr;
    spares_ = 0;
    held_ = 0;
}

Blocks::Block *Blocks::NewBlock() {
    if (spare_ != nullptr) {
        --spares_;
        Block *const block = std::exchange(spare_, spare_->next);
        block->next = nullptr;
        return block;
    }
    if (held_ == kLimitBytes / kBlockBytes) {
        return nullptr;
    }
    // The first one is for the few messages of quiet times; more are needed in a burst, which fills
    // them at once.
    const int populate = held_ > 0 ? MAP_POPULATE : 0;
    void *const pages = mmap(nullptr, sizeof(Block), PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | populate, -1, 0);
    if (pages == MAP_FAILED) {
        return nullptr;
    }
    ++held_;
    return static_cast<Block *>(pages);
}

void Blocks::Retire(Block *block) {
    if (spares_ == kSpareBlocks) {
        Unmap(block);
        return;
    }
    block->next = spare_;
    spare_ = block;
    ++spares_;
}

void Blocks::Unmap(Block *block) {
    munmap(block, sizeof(Block));  // cannot fail: it was mapped as it is
    --held_;
}

/// What was used last is used again, while its pages are there and in the cache.
void Blocks::StartOverWhenEmpty() {
    if (read_.block == write_.block && read_.offset == write_.offset) {
        read_.offset = write_.offset = 0;
    }
}

}  // namespace corvenna
