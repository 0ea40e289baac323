#pragma once

namespace zul::bench {

/// How often the calling thread has waited for the disk, in fsync or fdatasync.
int syncsOfThisThread();

}  // namespace zul::bench
