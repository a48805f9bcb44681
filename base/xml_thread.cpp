#include "base/xml_thread.h"

#include <libxml/parser.h>
#include <libxml/threads.h>
#include <libxml/xmlmemory.h>
#include <pthread.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

// Macros for what the calling thread has; here they are names of fields.
#undef xmlGenericError
#undef xmlGenericErrorContext
#undef xmlStructuredError
#undef xmlStructuredErrorContext
#undef xmlLastError

namespace corvenna {
namespace {

constexpr pthread_key_t kUnknownKey = PTHREAD_KEYS_MAX;

// libxml2's thread key; a new one after each clean-up.
std::atomic<pthread_key_t> gKey{kUnknownKey};

/// The key under which the calling thread finds a state. libxml2 does not tell.
pthread_key_t KeyOf(const xmlGlobalState *state) {
    pthread_key_t key = 0;
    while (key < PTHREAD_KEYS_MAX && pthread_getspecific(key) != state) {
        ++key;
    }
    return key;
}

/// On the thread that has variables libxml2 can be asked for a state without danger; it is taken
/// away again.
void FindKeyByVariables() {
    xmlGlobalState *const state = xmlGetGlobalState();
    gKey = state != nullptr ? KeyOf(state) : kUnknownKey;
    if (gKey != kUnknownKey && pthread_setspecific(gKey, nullptr) == 0) {
        FreedThreadState()(state);
    }
}

/// For a thread that it finds no state of libxml2 makes one. When there is no memory for that it
/// calls itself to say so, and so on: the same amount is tried first.
bool IsRoomForState() {
    void *const room = std::malloc(sizeof(xmlGlobalState));
    std::free(room);
    return room != nullptr;
}

/// Elsewhere the state that libxml2 makes stays the thread's.
void FindKeyByState() {
    const xmlGlobalState *state = IsRoomForState() ? xmlGetGlobalState() : nullptr;
    gKey = state != nullptr ? KeyOf(state) : kUnknownKey;
}

/// Puts a state into the place of the calling thread's. False, with everything as before, when that
/// is not where libxml2 looks: the host may have cleaned up by itself and so changed the key.
bool Exchange(pthread_key_t key, xmlGlobalState *state, void *&before) {
    before = pthread_getspecific(key);
    if (key == kUnknownKey || pthread_setspecific(key, state) != 0) {
        return false;
    }
    if (xmlGetGlobalState() == state) {
        return true;
    }
    pthread_setspecific(key, before);
    return false;
}

/// With room for another, which libxml2 makes when its key is not what it was.
XmlThreadState NewState() {
    XmlThreadState state(static_cast<xmlGlobalState *>(std::calloc(1, sizeof(xmlGlobalState))));
    if (state == nullptr || !IsRoomForState()) {
        throw std::bad_alloc();
    }
    xmlInitializeGlobalState(state.get());
    return state;
}

/// Cleans up with a state that needs no memory.
/// @return what the calling thread had, which is lost with the key; null for variables.
XmlThreadState CleanUpWithOwnState() {
    static xmlGlobalState state;  // for one thread at a time: the lock is exclusive
    void *before = nullptr;
    XmlThreadState lost;
    std::memset(&state, 0, sizeof state);
    if (xmlIsMainThread() == 0) {
        xmlInitializeGlobalState(&state);
        if (Exchange(gKey, &state, before)) {
            lost.reset(static_cast<xmlGlobalState *>(before));
        }
    }
    xmlCleanupParser();
    xmlResetError(&state.xmlLastError);
    return lost;
}

void SayNothing(void *, const char *, ...) {}

struct XmlSetting {
    int *(*place)();
    int value;
};
constexpr XmlSetting kXmlSettings[] = {
    {__xmlSubstituteEntitiesDefaultValue, 0},
    {__xmlLoadExtDtdDefaultValue, 0},
    {__xmlDoValidityCheckingDefaultValue, 0},
    {__xmlIndentTreeOutput, 1},
    {__xmlSaveNoEmptyTags, 0},
};

}  // namespace

void FreedThreadState::operator()(xmlGlobalState *state) const {
    xmlResetError(&state->xmlLastError);
    std::free(state);
}

OwnXmlThreadState::OwnXmlThreadState() {
    if (xmlIsMainThread() != 0) {
        return;
    }
    state_ = NewState();
    key_ = gKey;
    if (Exchange(key_, state_.get(), before_)) {
        return;
    }
    FindKeyByState();
    key_ = gKey;
    if (!Exchange(key_, state_.get(), before_)) {
        throw std::bad_alloc();
    }
}

OwnXmlThreadState::~OwnXmlThreadState() {
    if (state_ != nullptr) {
        pthread_setspecific(key_, before_);
    }
}

XmlSilence::XmlSilence()
    : generic_(*__xmlGenericError()),
      genericContext_(*__xmlGenericErrorContext()),
      structured_(*__xmlStructuredError()),
      structuredContext_(*__xmlStructuredErrorContext()),
      lastError_(*__xmlLastError()) {
    *__xmlLastError() = {};
    xmlSetGenericErrorFunc(nullptr, SayNothing);
    xmlSetStructuredErrorFunc(this, Hear);
}

XmlSilence::~XmlSilence() {
    xmlSetGenericErrorFunc(genericContext_, generic_);
    xmlSetStructuredErrorFunc(structuredContext_, structured_);
    xmlResetLastError();
    *__xmlLastError() = lastError_;
}

void XmlSilence::Hear(void *silence, xmlErrorPtr error) {
    if (error->level == XML_ERR_FATAL) {
        static_cast<XmlSilence *>(silence)->Note(*error);
    }
}

void XmlSilence::Note(const xmlError &error) {
    if (error.code == XML_ERR_NO_MEMORY) {
        memoryWasShort_ = true;
        memoryWasShortFirst_ = memoryWasShortFirst_ || !foundFault_;
    } else {
        foundFault_ = true;
    }
}

XmlSettings::XmlSettings() : indent_(std::exchange(*__xmlTreeIndentString(), "  ")) {
    static_assert(std::size(kXmlSettings) == kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        before_[i] = std::exchange(*kXmlSettings[i].place(), kXmlSettings[i].value);
    }
}

XmlSettings::~XmlSettings() {
    for (std::size_t i = 0; i < kCount; ++i) {
        *kXmlSettings[i].place() = before_[i];
    }
    *__xmlTreeIndentString() = indent_;
}

bool InitXml() {
    {
        const OwnXmlThreadState state;
        const XmlSilence silence;
        xmlInitParser();
        if (xmlIsMainThread() != 0) {
            FindKeyByVariables();
        }
        if (!silence.MemoryWasShort()) {
            return true;
        }
    }
    xmlCleanupParser();
    return false;
}

bool CleanUpAndInitXml() {
    const XmlThreadState before = CleanUpWithOwnState();
    xmlMemoryDump();
    const bool ready = InitXml();
    if (before != nullptr) {
        // The thread has variables from now on.
        xmlSetGenericErrorFunc(before->xmlGenericErrorContext, before->xmlGenericError);
        xmlSetStructuredErrorFunc(before->xmlStructuredErrorContext, before->xmlStructuredError);
    }
    return ready;
}

}  // namespace corvenna
