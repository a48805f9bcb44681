#pragma once

/// @file
/// The gateway's identity.

#include <cstdint>

#include "base/export.h"
#include "config/configuration_document.h"

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
    /// @param path of the file.
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

    /// @return the model number: 0 to 3, 100 or 101; 1 until loaded.
    CORVENNA_INLINE_API int GetModel() const { return model_; }

    /// @return the serial text, at most 18 characters; owned by this object.
    CORVENNA_INLINE_API char *GetSn() { return text_; }

    /// Hands out the serial number, the decimal digits behind the model's prefix.
    /// @param out receives it; a null one is passed over.
    void GetSn(unsigned int *out) const;

    /// Knows the models.
    /// @param model the text of sn.xml; may be null.
    /// @return its number; 1 for an unknown one.
    static int ModelToDigit(const char *model);

    /// Derives the serial number from a serial text, by the model loaded before.
    /// @param sn the text; a null one is passed over.
    void Model2Sn(const unsigned char *sn);
    /// @copydoc Model2Sn(const unsigned char *)
    void Model2Sn(const char *sn);

private:
    int Load(const corvenna::XmlGuard &guard);

    corvenna::ConfigurationDocument document_;
    std::int32_t model_ = 1;
    std::uint32_t number_ = 0;
    char text_[20] = "";
};
