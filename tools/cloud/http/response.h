#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/file_descriptor.h"

namespace corvenna::cloud {

/// The bytes of an answer's body. Any thread may read.
class BodySource {
public:
    virtual ~BodySource() = default;

    virtual std::int64_t Size() const = 0;
    /// Whether reading may wait for a disk.
    virtual bool MayWait() const { return false; }
    /// Reads bytes from an offset on. @return how many were read; less than wanted only at the end,
    /// or when there is no more although Size says so.
    virtual std::size_t Read(std::int64_t offset, char *to, std::size_t length) const = 0;
};

class TextBody : public BodySource {
public:
    explicit TextBody(std::string text) : text_(std::move(text)) {}

    std::int64_t Size() const override { return static_cast<std::int64_t>(text_.size()); }
    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const override;

private:
    std::string text_;
};

/// A part of an open file.
class FilePart : public BodySource {
public:
    FilePart(std::shared_ptr<const FileDescriptor> file, std::int64_t start, std::int64_t length)
        : file_(std::move(file)), start_(start), length_(length) {}

    std::int64_t Size() const override { return length_; }
    bool MayWait() const override { return true; }
    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const override;

private:
    std::shared_ptr<const FileDescriptor> file_;
    std::int64_t start_;
    std::int64_t length_;
};

/// A part of another source.
class Part : public BodySource {
public:
    Part(std::shared_ptr<const BodySource> whole, std::int64_t start, std::int64_t length)
        : whole_(std::move(whole)), start_(start), length_(length) {}

    std::int64_t Size() const override { return length_; }
    bool MayWait() const override { return whole_->MayWait(); }
    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const override;

private:
    std::shared_ptr<const BodySource> whole_;
    std::int64_t start_;
    std::int64_t length_;
};

/// Several sources, one behind the other.
class Pieces : public BodySource {
public:
    explicit Pieces(std::vector<std::shared_ptr<const BodySource>> pieces)
        : pieces_(std::move(pieces)) {}

    std::int64_t Size() const override;
    bool MayWait() const override;
    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const override;

private:
    std::vector<std::shared_ptr<const BodySource>> pieces_;
};

using Headers = std::vector<std::pair<std::string, std::string>>;

/// What is answered to a request. Length and connection headers are the server's business.
struct Response {
    int status = 200;
    Headers headers;
    std::string body;
    std::shared_ptr<const BodySource> file;  ///< sent instead of the body, bit by bit

    /// Replaces a header of that name.
    void SetHeader(const std::string &name, const std::string &value);
    void SetContent(std::string content, const std::string &type);
};

/// Sets status and text of an answer that says what is wrong.
void SetError(Response &response, int status, const std::string &reason);

}  // namespace corvenna::cloud
