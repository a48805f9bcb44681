#pragma once

#include <cstddef>
#include <limits>
#include <vector>

#include "message/records.h"

namespace corvenna {

/// The most entries of a list that the server fills. Ours: an offer takes 1,092 bytes here and
/// seven in an answer.
template <class Record>
inline constexpr std::size_t kMostEntries = std::numeric_limits<std::size_t>::max();
template <>
inline constexpr std::size_t kMostEntries<down_file_para> = 4096;
template <>
inline constexpr std::size_t kMostEntries<recall_time_para> = 65536;

/// Appends an answer's entries to a list, all or none: what was added goes again unless it is kept.
template <class Record>
class AnswerEntries {
public:
    explicit AnswerEntries(std::vector<Record> &list) : list_(list), kept_(list.size()) {}
    ~AnswerEntries() { list_.erase(End(kept_), list_.end()); }
    AnswerEntries(const AnswerEntries &) = delete;
    AnswerEntries &operator=(const AnswerEntries &) = delete;

    /// An empty record at the list's end; null, and the answer is cut, when the list is full.
    Record *Add() {
        if (list_.size() >= kMostEntries<Record>) {
            cut_ = true;
            return nullptr;
        }
        return &list_.emplace_back();
    }

    /// @param cut set when entries found no room (logged), otherwise left alone.
    void Keep(bool &cut);

private:
    auto End(std::size_t entries) { return list_.begin() + static_cast<std::ptrdiff_t>(entries); }

    std::vector<Record> &list_;
    std::size_t kept_;
    bool cut_ = false;
};

/// Says that a list takes no more.
void ReportFullList(std::size_t entries);

template <class Record>
void AnswerEntries<Record>::Keep(bool &cut) {
    kept_ = list_.size();
    if (cut_) {
        cut = true;
        ReportFullList(kept_);
    }
}

}  // namespace corvenna
