#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/conform/clause.h"

namespace corvenna::conform {

enum class Verdict { kKept, kBroken, kNotJudged };

struct Judgement {
    const Clause *clause;
    Verdict verdict;
    std::string found;  ///< what was seen of a broken one, or why nothing was
};

/// What was found of every clause of a table, in one run through all of them.
class Judgements {
public:
    /// At first nothing is judged.
    /// @param clauses must outlive it.
    Judgements(std::string title, const Clauses &clauses);

    /// A clause that was broken once stays so.
    /// @param id one of the table; another is a logic_error.
    void Judge(const char *id, bool kept, const std::string &found);

    /// Why a clause cannot be judged; nothing when it was.
    void Explain(const char *id, const std::string &reason);

    /// Takes a clause out.
    void Accept(const std::string &id);
    /// Takes out what was not judged.
    void KeepJudged();

    const std::string &Title() const { return title_; }
    const std::vector<Judgement> &All() const { return all_; }
    std::size_t Count(Verdict verdict) const;

private:
    Judgement &Of(const char *id);

    std::string title_;
    std::vector<Judgement> all_;
};

}  // namespace corvenna::conform
