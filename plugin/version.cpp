namespace {

// Told by `strings libcorvenna.so | grep '^corvenna '`. Nothing reads it, so compiler and linker
// are told to keep it; no name leads to it.
[[gnu::used, gnu::retain]] const char kVersion[] = "corvenna " CORVENNA_VERSION;

}  // namespace
