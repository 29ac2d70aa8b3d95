#include "Benchmarks.h"

namespace Bench {

Group applicationBenchmarks()
{
    return {"applications", [](TestDesktop&) {}};
}

} // namespace Bench
