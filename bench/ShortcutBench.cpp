#include "Benchmarks.h"

namespace Bench {

Group shortcutBenchmarks()
{
    return {"shortcuts", [](TestDesktop&) {}};
}

} // namespace Bench
