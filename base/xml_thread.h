#pragma once

#include <libxml/globals.h>
#include <pthread.h>

#include <cstddef>
#include <memory>

namespace corvenna {

// libxml2 keeps some things for each thread: defaults, the handlers of messages, the last error.
// The thread that initialised it has them in variables, any other in a block of memory under a
// thread key, made at its first use. Leaving these blocks to libxml2 has three drawbacks: its
// clean-up deletes the key, so that the blocks of all living threads are lost; a block for which
// memory is short ends the process; and the host's handlers are in there. Each of our uses
// therefore brings a block of its own along and puts back what was there.

/// What libxml2 keeps for a thread.
struct FreedThreadState {
    void operator()(xmlGlobalState *state) const;
};
using XmlThreadState = std::unique_ptr<xmlGlobalState, FreedThreadState>;

/// Gives the calling thread a fresh state, as long as this lives. Needs the XmlSharedLock. Throws
/// std::bad_alloc.
class OwnXmlThreadState {
public:
    OwnXmlThreadState();
    ~OwnXmlThreadState();
    OwnXmlThreadState(const OwnXmlThreadState &) = delete;
    OwnXmlThreadState &operator=(const OwnXmlThreadState &) = delete;

private:
    XmlThreadState state_;  ///< null on the thread that has variables
    pthread_key_t key_ = 0;
    void *before_ = nullptr;
};

/// Keeps libxml2 silent on the calling thread, as long as this lives; afterwards the thread has its
/// handlers and its last error again. Not to be moved: libxml2 has its address.
class XmlSilence {
public:
    XmlSilence();
    ~XmlSilence();
    XmlSilence(const XmlSilence &) = delete;
    XmlSilence &operator=(const XmlSilence &) = delete;

    /// Whether libxml2 complained of too little memory meanwhile.
    bool MemoryWasShort() const { return memoryWasShort_; }

    /// Whether it complained of nothing worse before. A document beyond its limits is told both as
    /// wrong and as too large for the memory.
    bool MemoryWasShortFirst() const { return memoryWasShortFirst_; }

private:
    static void Hear(void *silence, xmlErrorPtr error);
    void Note(const xmlError &error);

    bool foundFault_ = false;
    bool memoryWasShort_ = false;
    bool memoryWasShortFirst_ = false;
    const xmlGenericErrorFunc generic_;
    void *const genericContext_;
    const xmlStructuredErrorFunc structured_;
    void *const structuredContext_;
    const xmlError lastError_;
};

/// Gives the calling thread the settings of parsing and saving that libxml2 begins with, whatever
/// the host made of them, as long as this lives. (Functions that the host has called for nodes and
/// files stay its own.) Ours: with the host's, answers of the server could name files of ours and
/// other machines to be read, and documents would be written in another way.
class XmlSettings {
public:
    XmlSettings();
    ~XmlSettings();
    XmlSettings(const XmlSettings &) = delete;
    XmlSettings &operator=(const XmlSettings &) = delete;

    static constexpr std::size_t kCount = 5;

private:
    const char *const indent_;
    int before_[kCount];
};

/// Initialises libxml2, unless somebody did, and finds its thread key. Needs the XmlExclusiveLock.
/// @return false when memory was short; libxml2 is then as good as never initialised.
bool InitXml();

/// Cleans libxml2 up and initialises it again, likewise.
bool CleanUpAndInitXml();

}  // namespace corvenna
