#include "Benchmarks.h"

namespace Bench {

Group windowBenchmarks()
{
    return {"windows", [](TestDesktop&) {}};
}

} // namespace Bench
