#pragma once

#include <cstddef>

namespace corvenna {

// What libcurl calls during a transfer. Nothing is ever thrown through it, and every block of an
// answer is accepted: a handler returns size * count whatever became of the block. The answer
// handlers' last argument is libcurl's default pointer and must not be used; a block is not
// NUL-terminated.

/// Keeps nothing.
std::size_t IgnoreResponse(char *data, std::size_t size, std::size_t count, void *unused);
/// Logs the block.
std::size_t LogResponse(char *data, std::size_t size, std::size_t count, void *unused);
/// Logs the block and parses it, by itself, into *gPRecalltime.
std::size_t ParseRecalls(char *data, std::size_t size, std::size_t count, void *unused);
/// Logs the block and parses it, by itself, into *gPDownFile.
std::size_t ParseOffers(char *data, std::size_t size, std::size_t count, void *unused);

// Ours: of one answer at most 8 MiB are parsed, and nothing behind what its list had no room for;
// one message says so. How much it was so far is kept beside each list's pointer, of which the
// process has one too.

/// Begins an exchange whose answer goes to ParseRecalls, or to ParseOffers.
void BeginRecalls();
void BeginOffers();
/// Whether memory was short for a block of the answer since.
bool RecallsAreIncomplete();

/// fread and fwrite on the open file that libcurl hands back.
std::size_t ReadFromFile(char *data, std::size_t size, std::size_t count, void *file);
std::size_t WriteToFile(char *data, std::size_t size, std::size_t count, void *file);

}  // namespace corvenna
