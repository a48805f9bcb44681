#include "tools/cloud/http/response.h"

#include <algorithm>

#include "tools/cloud/ground/read_at.h"
#include "tools/cloud/http/request.h"

namespace corvenna::cloud {

std::size_t TextBody::Read(std::int64_t offset, char *to, std::size_t length) const {
    return text_.copy(to, length, static_cast<std::size_t>(offset));
}

std::size_t FilePart::Read(std::int64_t offset, char *to, std::size_t length) const {
    const auto left = static_cast<std::size_t>(std::max<std::int64_t>(0, length_ - offset));
    return ReadAt(*file_, start_ + offset, to, std::min(length, left));
}

std::size_t Part::Read(std::int64_t offset, char *to, std::size_t length) const {
    const auto left = static_cast<std::size_t>(std::max<std::int64_t>(0, length_ - offset));
    return whole_->Read(start_ + offset, to, std::min(length, left));
}

std::int64_t Pieces::Size() const {
    std::int64_t size = 0;
    for (const auto &piece : pieces_) {
        size += piece->Size();
    }
    return size;
}

bool Pieces::MayWait() const {
    return std::any_of(pieces_.begin(), pieces_.end(),
                       [](const auto &piece) { return piece->MayWait(); });
}

std::size_t Pieces::Read(std::int64_t offset, char *to, std::size_t length) const {
    std::size_t done = 0;
    for (const auto &piece : pieces_) {
        if (offset < piece->Size() && done < length) {
            const std::size_t got = piece->Read(offset, to + done, length - done);
            done += got;
            offset += static_cast<std::int64_t>(got);
            if (offset < piece->Size()) {
                break;
            }
        }
        offset -= piece->Size();
    }
    return done;
}

void Response::SetHeader(const std::string &name, const std::string &value) {
    for (auto &[known, text] : headers) {
        if (EqualsIgnoringCase(known, name)) {
            text = value;
            return;
        }
    }
    headers.emplace_back(name, value);
}

void Response::SetContent(std::string content, const std::string &type) {
    body = std::move(content);
    file.reset();
    SetHeader("Content-Type", type);
}

void SetError(Response &response, int status, const std::string &reason) {
    response.status = status;
    response.SetContent(reason + "\n", "text/plain; charset=UTF-8");
}

}  // namespace corvenna::cloud
