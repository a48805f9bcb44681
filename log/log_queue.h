#pragma once

#include <cstddef>
#include <cstdint>
#include <list>

#include "base/text.h"
#include "log/blocks.h"
#include "log/stamp.h"

namespace corvenna {

/// What stands before each queued text; with it, an entry costs 38 bytes more than its text.
struct LogHeader {
    LogStamp stamp;
    char type[12];
    std::uint16_t length;  ///< of the text, which has no NUL
};
static_assert(sizeof(LogHeader) == 38);

/// A sink's entries in the order of their arrival. Who calls it holds the sink's queue mutex.
///
/// Ours: it is bounded. An entry that does not fit, or finds no memory, is dropped and counted; the
/// next one that fits is preceded by one that tells the number.
class LogQueue {
public:
    void Append(const LogHeader &header, const char *text);

    /// Counts an entry that was lost before it came here.
    void CountDropped() { ++dropped_; }

    std::size_t Count() const { return count_; }

    /// Takes the first entry out. There must be one.
    LogHeader TakeHeader();
    /// Then its text, as long as the header says.
    void TakeText(char *text, std::size_t length) { blocks_.Take(text, length); }

    void Clear();

    /// Gives back some of the memory that the last burst left, once a round.
    void Rest() {
        constexpr int kBlocksOfRound = 4;
        for (int i = 0; i < kBlocksOfRound; ++i) {
            blocks_.GiveBackSpare();
        }
    }

    /// For a forked child: empty, whatever another thread was doing.
    void Forget();

private:
    void Put(const LogHeader &header, const char *text);
    void PutDropped(const LogStamp &stamp);

    Blocks blocks_;
    std::size_t count_ = 0;
    unsigned long long dropped_ = 0;
};

/// The entries that a batch takes: those of a sink's own queue, or of a caller's list.
template <class Node>
class LogBatch {
public:
    LogBatch(const LogBatch &) = delete;
    LogBatch &operator=(const LogBatch &) = delete;

    virtual std::size_t Count() const = 0;
    /// Moves the first entry into a node, all of whose texts end with a NUL.
    virtual void Take(Node &node) = 0;
    virtual void Clear() = 0;

protected:
    LogBatch() = default;
    ~LogBatch() = default;
};

/// Fields tells how a node is laid out: `Date(node)`, `Time(node)`, `Type(node)`, `Text(node)`,
/// each a char array of the node.
template <class Node, class Fields>
class QueuedEntries final : public LogBatch<Node> {
public:
    explicit QueuedEntries(LogQueue &queue) : queue_(queue) {}

    std::size_t Count() const override { return queue_.Count(); }
    void Take(Node &node) override {
        const LogHeader header = queue_.TakeHeader();
        CopyText<sizeof header.stamp.date>(Fields::Date(node), header.stamp.date);
        CopyText<sizeof header.stamp.time>(Fields::Time(node), header.stamp.time);
        CopyText<sizeof header.type>(Fields::Type(node), header.type);
        queue_.TakeText(Fields::Text(node), header.length);
        Fields::Text(node)[header.length] = '\0';
    }
    void Clear() override { queue_.Clear(); }

private:
    LogQueue &queue_;
};

template <class Node, class Fields>
class ListedEntries final : public LogBatch<Node> {
public:
    explicit ListedEntries(std::list<Node> &list) : list_(list) {}

    std::size_t Count() const override { return list_.size(); }
    void Take(Node &node) override {
        // Ours: a caller's text that fills its field to the brim is not read beyond it.
        Node &first = list_.front();
        Copy(Fields::Date(node), Fields::Date(first));
        Copy(Fields::Time(node), Fields::Time(first));
        Copy(Fields::Type(node), Fields::Type(first));
        Copy(Fields::Text(node), Fields::Text(first));
        list_.pop_front();
    }
    void Clear() override { list_.clear(); }

private:
    template <std::size_t Size>
    static void Copy(char (&field)[Size], const char (&text)[Size]) {
        CopyText<Size>(field, text);
    }

    std::list<Node> &list_;
};

}  // namespace corvenna
