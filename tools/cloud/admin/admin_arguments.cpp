#include "tools/cloud/admin/admin_arguments.h"

#include <sstream>

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {

JsonBody::JsonBody(const std::string &text) {
    document_.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
    if (document_.HasParseError() || !document_.IsObject()) {
        throw Refusal{400, "the body is no JSON object"};
    }
}

std::string JsonBody::Text(const char *name) const {
    const auto member = document_.FindMember(name);
    if (member == document_.MemberEnd() || !member->value.IsString()) {
        throw Refusal{400, std::string("\"") + name + "\" must be there, as a text"};
    }
    return {member->value.GetString(), member->value.GetStringLength()};
}

std::string JsonBody::TextOr(const char *name, const char *usual) const {
    const auto member = document_.FindMember(name);
    return member == document_.MemberEnd() || member->value.IsNull() ? usual : Text(name);
}

std::optional<long> JsonBody::Number(const char *name) const {
    const auto member = document_.FindMember(name);
    if (member == document_.MemberEnd() || member->value.IsNull()) {
        return std::nullopt;
    }
    if (!member->value.IsInt()) {
        throw Refusal{400, std::string("\"") + name + "\" must be a whole number"};
    }
    return member->value.GetInt();
}

long NumberParameter(const Request &request, const char *name, long lowest, long highest,
                     long usual) {
    if (!request.HasParameter(name)) {
        return usual;
    }
    const auto number = WholeNumber(request.Parameter(name), lowest, highest);
    if (!number) {
        throw Refusal{400, std::string(name) + " goes from " + std::to_string(lowest) + " to " +
                               std::to_string(highest)};
    }
    return *number;
}

std::string TimeParameter(const Request &request, const char *name, const std::string &usual) {
    if (!request.HasParameter(name)) {
        return usual;
    }
    std::string text = request.Parameter(name);
    if (!IsTimeText(text)) {
        throw Refusal{400, std::string(name) + " is no time (YYYY-MM-DD hh:mm:ss)"};
    }
    return text;
}

std::string ChoiceParameter(const Request &request, const char *name,
                            std::initializer_list<const char *> choices) {
    if (!request.HasParameter(name)) {
        return *choices.begin();
    }
    std::string given = request.Parameter(name);
    std::string all;
    for (const char *choice : choices) {
        if (given == choice) {
            return given;
        }
        all += std::string(all.empty() ? "" : ", ") + choice;
    }
    throw Refusal{400, std::string(name) + " is none of " + all};
}

TimeRange RangeParameters(const Request &request, const TimeRange &usual) {
    TimeRange range{TimeParameter(request, "from", usual.start),
                    TimeParameter(request, "to", usual.end)};
    if (!range.start.empty() && !range.end.empty() && range.end < range.start) {
        throw Refusal{400, "to is before from"};
    }
    return range;
}

std::vector<std::string> PointsParameter(const Request &request) {
    constexpr std::size_t kMostPoints = 20;
    std::vector<std::string> points;
    std::istringstream list(request.Parameter("points"));
    for (std::string point; std::getline(list, point, ',');) {
        points.push_back(point);
    }
    if (points.empty() || points.size() > kMostPoints) {
        throw Refusal{400, "points names 1 to " + std::to_string(kMostPoints) + " data ids"};
    }
    return points;
}

std::int64_t IdArgument(const std::string &segment) {
    const auto id = WholeNumber(segment, 1, kMostNumber);
    if (!id) {
        throw Refusal{404, "there is no such number"};
    }
    return *id;
}

}  // namespace corvenna::cloud
