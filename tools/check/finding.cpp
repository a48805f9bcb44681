#include "tools/check/finding.h"

namespace corvenna::check {

std::string Headline(const Finding &finding) {
    const Place &place = finding.place;
    std::string text = place.file;
    if (place.line > 0) {
        text += ":" + std::to_string(place.line) + ":";
    }
    return text + " " + (place.element.empty() ? "" : place.element + " ") + finding.what;
}

}  // namespace corvenna::check
