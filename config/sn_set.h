#pragma once

#include <cstdint>

#include "base/export.h"
#include "base/xml_document.h"

/// The gateway's identity: model and serial number. Loaded once by Init on the host's thread;
/// afterwards only read, from any thread and without a lock. Owns the parsed document while one is
/// held.
class CORVENNA_API CsnSet {
public:
    CsnSet();
    ~CsnSet();
    CsnSet(const CsnSet &) = delete;
    CsnSet &operator=(const CsnSet &) = delete;

    /// Parses a file and loads the identity from it.
    /// @return 0, -1 when the file cannot be parsed or loading fails (logged).
    int Open(const char *path);

    /// Loads the identity from the held document.
    /// @return 0; -1 when there is no document, it is empty, its root is wrong or it has no serial
    ///         text (logged; the document is freed).
    int LoadNodeFromXml();

    /// Frees the held document; the identity stays.
    /// @return 0, -1 when no document was held.
    int Close();

    /// @return 0 when a document is held, -1 when not.
    int IsOpen() const;

    /// The model number: 0 to 3, 100 or 101; 1 until loaded.
    int GetModel() const { return model_; }

    /// The serial text, at most 18 characters; owned by this object.
    char *GetSn() { return text_; }

    /// Stores the serial number, the decimal digits behind the model's prefix, in *out.
    void GetSn(unsigned int *out) const;

    /// The number of a model text; 1 for an unknown one.
    static int ModelToDigit(const char *model);

    /// Derives the serial number from a serial text, by the model loaded before.
    void Model2Sn(const unsigned char *sn);
    void Model2Sn(const char *sn);

private:
    int Load();

    corvenna::XmlDocument document_;
    std::int32_t model_ = 1;
    std::uint32_t number_ = 0;
    char text_[20] = "";
};
