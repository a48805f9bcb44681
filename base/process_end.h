#pragma once

namespace corvenna {

// Ours: a process may end while threads are at work that nobody can stop: the download thread,
// which is detached, and threads of the host in an exchange with the server. The end of the process
// waits a moment for them, since what they use is taken down then. No new exchange begins on any
// thread but the one that ends the process, and no new step of a download; a download thread that
// ends by itself is waited for until it is gone. Only the process that the work was begun in waits:
// one that it forked has no such threads.

/// Held while the calling thread is in an exchange with the server.
class ExchangeUnderWay {
public:
    ExchangeUnderWay();
    ~ExchangeUnderWay();
    ExchangeUnderWay(const ExchangeUnderWay &) = delete;
    ExchangeUnderWay &operator=(const ExchangeUnderWay &) = delete;

    /// Whether it may begin.
    static bool IsAllowed();
};

/// Held by the download thread as long as it works.
class DownloadSteps {
public:
    DownloadSteps();
    ~DownloadSteps();
    DownloadSteps(const DownloadSteps &) = delete;
    DownloadSteps &operator=(const DownloadSteps &) = delete;

    /// Ends one step and begins the next; does not return once the process is ending.
    void Next();
};

/// Makes the end of the process wait. Called before a download thread starts.
void GuardProcessEnd();

/// Whether the process is ending; a transfer is better given up then.
bool IsProcessEnding();

}  // namespace corvenna
