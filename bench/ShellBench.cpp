#include "Benchmarks.h"

namespace Bench {

Group shellBenchmarks()
{
    return {"shell", [](TestDesktop&) {}};
}

} // namespace Bench
