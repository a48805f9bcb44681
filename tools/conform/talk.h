#pragma once

#include <string>

#include "tools/conform/client.h"
#include "tools/conform/judgements.h"

namespace corvenna::conform {

/// What a cloud is asked with.
struct CloudQuestion {
    Server server;
    std::string serial = "CONFORM01";
    std::string recallCommand;  ///< has the cloud recall something; may be empty
    std::string offerCommand;   ///< has the cloud offer a file; may be empty
};

/// One gateway that talks to a cloud in one way, and what is found meanwhile.
class Talk {
public:
    Talk(const CloudQuestion &question, Way way, Judgements &found);

    const CloudQuestion &Question() const { return question_; }
    const Way &Its() const { return way_; }

    /// A body from memory.
    Reply Send(const char *method, const std::string &path, const std::string &document,
               bool withPassword = false);
    /// A data file, which has a time of sending when it is one of values.
    Reply Upload(const std::string &path, const std::string &document);
    /// The same with a body as it is to go out.
    Reply UploadBytes(const std::string &path, const std::string &bytes);
    Reply Get(const std::string &path);
    /// Without anything that tells who asks.
    Reply Fetch(const std::string &path);

    /// "/step/SN"
    std::string Path(const char *step) const;

    /// Judges a clause by an answer; not at all when there is none.
    void Judge(const char *id, const Reply &reply, bool kept);
    void Judge(const char *id, bool kept, const std::string &foundThat);
    void Explain(const char *id, const std::string &reason);

    /// Whether an answer is kept by its statuses.
    void Expect(const char *id, const Reply &reply, bool (*good)(long status));
    void ExpectNot(const char *id, const Reply &reply, bool (*good)(long status));

private:
    Reply Ask(const Request &request);

    const CloudQuestion &question_;
    Way way_;
    Judgements &found_;
    Client client_;
};

// What a gateway takes for success.

inline bool IsTaken(long status) {
    return status == 200 || status == 201;
}
inline bool IsTakenWithHint(long status) {
    return IsTaken(status) || status == 426;
}
inline bool IsDone(long status) {
    return status == 204;
}

/// Has the shell do what lets the cloud recall or offer. Throws std::runtime_error when that fails.
void RunCommand(const std::string &command, const std::string &serial);

// The chapters of the conversation, in their order.

void TryRegistration(Talk &talk);
void TryUploads(Talk &talk);
void TryRecalls(Talk &talk);
void TryDownloads(Talk &talk);

}  // namespace corvenna::conform
