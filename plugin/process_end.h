#pragma once

namespace corvenna {

// Ours: a process may end while a download runs. The thread is detached and nobody can stop it, but
// the services that it uses are destroyed then. It works in steps; the end of the process waits a
// moment for the step at hand and lets no further one begin.

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

/// Makes the end of the process wait. Called before a download thread starts, when the services
/// that it will use exist: what is made last is destroyed first.
void GuardProcessEnd();

/// Whether the process is ending; a transfer is better given up then.
bool IsProcessEnding();

}  // namespace corvenna
