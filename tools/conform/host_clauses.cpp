#include "tools/conform/clause.h"

namespace corvenna::conform {
namespace {

constexpr const char *kIntegration = "integration.md";

}  // namespace

const Clauses &HostClauses() {
    static const Clauses clauses = {
        {"init-first", "Init", "Nothing is called before it has ended", kIntegration},
        {"init-once", "Init", "Called once", kIntegration},
        {"init-stop", "Init", "After -1 nothing is called", kIntegration},
        {"off-stop", "Init", "When all intervals are -1 nothing is called", kIntegration},
        {"no-null", "every call", "No pointer is null", kIntegration},
        {"list-shared", "every call", "No list is given to two calls at once", kIntegration},

        {"registered", "PrePost", "Called before anything is uploaded", kIntegration},
        {"registered-again", "PrePost", "Called again when it failed", kIntegration},

        {"real-made", "CreateRealDataFile", "Called when RealDataInv is above 0", kIntegration},
        {"real-pace", "CreateRealDataFile", "New values come no faster than RealDataInv",
         kIntegration},
        {"status-points", "CreateRealDataFile",
         "Every device has its status point (0x0100) among the values", kIntegration},
        {"every-point", "CreateRealDataFile",
         "Every other point of a device that is up has a value", kIntegration},
        {"values-steady", "CreateRealDataFile", "The values do not change during the call",
         kIntegration},
        {"folder-there", "Create...DataFile", "The folder exists and may be written", kIntegration},
        {"folder-name", "Create...DataFile",
         "At most 104 bytes, no / at its end, neither jsonz nor .xmlz in it", kIntegration},
        {"file-kept", "CreateRealDataFile",
         "A file that is still there is not made over for the same second", kIntegration},

        {"file-there", "Upload...DataFile", "The file is there", kIntegration},
        {"file-format", "UploadRealDataFile", "The path has the format's word in it", kIntegration},
        {"retried", "UploadRealDataFile", "What did not arrive is sent again", kIntegration},
        {"retry-pause", "UploadRealDataFile", "The same file comes no faster than CheckFailInv",
         kIntegration},
        {"file-deleted", "Upload...DataFile", "What has arrived is deleted", kIntegration},

        {"recall-asked", "CheckRecall", "Called when RecallInv is above 0", kIntegration},
        {"recall-pace", "CheckRecall", "No faster than RecallInv", kIntegration},
        {"recall-alone", "CheckRecall", "One call at a time", kIntegration},
        {"recall-empty", "CheckRecall", "The list is empty", kIntegration},
        {"recall-sent", "DeleteRecall", "Something was uploaded for the range before",
         kIntegration},
        {"recall-done", "DeleteRecall", "Called for a range that was listed", kIntegration},
        {"recall-known", "DeleteRecall", "Called for no other range", kIntegration},

        {"download-awaited", "the end", "The process does not end during a download", kIntegration},
    };
    return clauses;
}

}  // namespace corvenna::conform
