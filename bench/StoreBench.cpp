#include "Benchmarks.h"

namespace Bench {

Group storeBenchmarks()
{
    return {"store", [](TestDesktop&) {}};
}

} // namespace Bench
