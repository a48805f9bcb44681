#pragma once

#include "plugin/last_name.h"

struct down_file_para;

/// Body of the download thread: fetches the list of offered files, announces, downloads, verifies
/// and installs each, reports its status, and releases down_file_mutex at its end. One at a time.
/// @return null.
void *DownFile(void *unused);

/// Reports the status of an offered file: 1 begun, 0 digest mismatch or refused, 2 done.
/// @return the transport's result, -1 when no body could be built.
int PutFile(const char *md5, int status);

/// Hands a verified local file on by its type and deletes it. A type for which there is no command
/// leaves it where it is. What an earlier update left on the card goes too.
/// @return the result of the last deletion; -1 when a text that the command would hold is no plain
///         word to the shell (logged; nothing is deleted or run then).
int DealDownFile(const down_file_para *file, const char *local);

/// Writes the 32 lower-case hexadecimal digits of a file's MD5 sum into `out` (33 bytes at least);
/// an empty text when the sum cannot be made. @return out.
char *getfilemd5(const char *file, char *out);
