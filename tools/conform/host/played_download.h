#pragma once

namespace corvenna::stand_in {

/// Plays the download thread: holds down_file_mutex until half a second after the host was asked to
/// stop, which a file beside the record tells. Once in a process; where somebody else has the
/// mutex, with the next call.
void PlayDownload();

}  // namespace corvenna::stand_in
