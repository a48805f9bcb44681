#pragma once

/// Copies what follows the last "/" of a path (all of it when there is none) into `dst`, which must
/// have room for it. @return dst.
char *getlastname(const char *path, char *dst);
