#pragma once

namespace zul::test {

/// How often the calling thread has waited for the disk, in fsync or fdatasync, since its start. In a program that
/// exports its symbols.
int syncsOfThisThread();

}  // namespace zul::test
