#include "app/ProgramRunner.h"
#include "support/Catch.h"

// The build of the checkout, which ./varkle asks for in front of each run.

using namespace Varkle;

TEST_CASE("What is built is not built again")
{
    const Outcome outcome = ProgramRunner({"ninja", "-C", VARKLE_BUILD, "-n", "varkle", "VarkleGpuOperators"}).Run();
    CHECK(outcome.status == 0);
    INFO(outcome.output);
    CHECK(outcome.output.find("no work to do") != std::string::npos);
}
