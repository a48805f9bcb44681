#include "tools/conform/judgements.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace corvenna::conform {

Judgements::Judgements(std::string title, const Clauses &clauses) : title_(std::move(title)) {
    for (const Clause &clause : clauses) {
        all_.push_back({&clause, Verdict::kNotJudged, "it did not come to that"});
    }
}

Judgement &Judgements::Of(const char *id) {
    const auto found = std::find_if(all_.begin(), all_.end(), [id](const Judgement &one) {
        return std::string(one.clause->id) == id;
    });
    if (found == all_.end()) {
        throw std::logic_error(std::string("there is no clause ") + id);
    }
    return *found;
}

void Judgements::Judge(const char *id, bool kept, const std::string &found) {
    Judgement &judgement = Of(id);
    if (judgement.verdict != Verdict::kBroken) {
        judgement.verdict = kept ? Verdict::kKept : Verdict::kBroken;
        judgement.found = kept ? "" : found;
    }
}

void Judgements::Explain(const char *id, const std::string &reason) {
    Judgement &judgement = Of(id);
    if (judgement.verdict == Verdict::kNotJudged) {
        judgement.found = reason;
    }
}

void Judgements::Accept(const std::string &id) {
    all_.erase(std::remove_if(all_.begin(), all_.end(),
                              [&](const Judgement &one) { return id == one.clause->id; }),
               all_.end());
}

void Judgements::KeepJudged() {
    all_.erase(
        std::remove_if(all_.begin(), all_.end(),
                       [](const Judgement &one) { return one.verdict == Verdict::kNotJudged; }),
        all_.end());
}

std::size_t Judgements::Count(Verdict verdict) const {
    return static_cast<std::size_t>(
        std::count_if(all_.begin(), all_.end(),
                      [verdict](const Judgement &one) { return one.verdict == verdict; }));
}

}  // namespace corvenna::conform
