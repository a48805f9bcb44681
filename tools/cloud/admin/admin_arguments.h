#pragma once

#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "base/json.h"
#include "tools/cloud/document/messages.h"
#include "tools/cloud/ground/refusal.h"
#include "tools/cloud/http/request.h"

namespace corvenna::cloud {

// What a request of the API brings along, checked. What is wrong is thrown as a Refusal.

constexpr long kMostNumber = std::numeric_limits<int>::max();

/// A JSON object that a client sent, with checked access to its members.
class JsonBody {
public:
    explicit JsonBody(const std::string &text);

    std::string Text(const char *name) const;
    /// Another text when it is missing or null.
    std::string TextOr(const char *name, const char *usual) const;
    /// nullopt when it is missing or null.
    std::optional<long> Number(const char *name) const;

private:
    rapidjson::Document document_;
};

/// A parameter of the query, or the usual value when it is not given.
long NumberParameter(const Request &request, const char *name, long lowest, long highest,
                     long usual);
std::string TimeParameter(const Request &request, const char *name, const std::string &usual);

/// One of the choices; the first one when it is not given.
std::string ChoiceParameter(const Request &request, const char *name,
                            std::initializer_list<const char *> choices);
/// "from" and "to", in that order; what is not given is as in `usual`.
TimeRange RangeParameters(const Request &request, const TimeRange &usual);
/// "points": data ids with commas between them, 1 to 20.
std::vector<std::string> PointsParameter(const Request &request);

/// The number that a segment of the path names; 404 when it is none.
std::int64_t IdArgument(const std::string &segment);

}  // namespace corvenna::cloud
