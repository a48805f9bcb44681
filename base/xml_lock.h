#pragma once

namespace corvenna {

// Many threads use libxml2 side by side, or one alone cleans it up. Who waits to be alone goes
// before those who come after it, so that it is not put off for ever; a thread that has the lock
// must not take it a second time. fork() waits for its turn (a second at most), so that a child
// meets neither a lock that nobody will release nor libxml2 in the middle of something.

/// Held by everyone who calls libxml2, for no longer than the call at hand needs.
class XmlSharedLock {
public:
    XmlSharedLock();
    ~XmlSharedLock();
    XmlSharedLock(const XmlSharedLock &) = delete;
    XmlSharedLock &operator=(const XmlSharedLock &) = delete;
};

/// Held while nobody else may call libxml2.
class XmlExclusiveLock {
public:
    XmlExclusiveLock();
    ~XmlExclusiveLock();
    XmlExclusiveLock(const XmlExclusiveLock &) = delete;
    XmlExclusiveLock &operator=(const XmlExclusiveLock &) = delete;
};

/// Makes fork() wait for its turn from now on, where there was no memory for that when the library
/// was loaded. Called before the lock is first taken; may be called again. Throws std::bad_alloc.
void KeepXmlLockThroughForks();

}  // namespace corvenna
