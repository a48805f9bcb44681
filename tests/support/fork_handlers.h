#pragma once

namespace corvenna::test {

/// Lets the system find memory for handlers of forks, of which it has none from the start on. Needs
/// a test program linked with WRAP pthread_atfork.
void AllowForkHandlers();

}  // namespace corvenna::test
