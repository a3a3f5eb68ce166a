#include "app/ProgramRunner.h"
#include "support/Catch.h"
#include "support/TemporaryFolder.h"

// The build of the checkout, which ./varkle asks for in front of each run.

using namespace Varkle;

TEST_CASE("What is built is not built again")
{
    const Outcome outcome = ProgramRunner({"ninja", "-C", VARKLE_BUILD, "-n", "varkle", "VarkleGpuOperators"}).Run();
    CHECK(outcome.status == 0);
    INFO(outcome.output);
    CHECK(outcome.output.find("no work to do") != std::string::npos);
}

TEST_CASE("A packager's compiler flags are taken as they are")
{
    const TemporaryFolder folder;
    const Outcome outcome =
        ProgramRunner({"cmake", "-S", VARKLE_SOURCES, "-B", folder / "build", "-G", "Ninja",
                       "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS=-DPACKAGE", "-DVARKLE_TESTS=OFF",
                       "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DPACKAGED", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"})
            .Run();
    INFO(outcome.output + outcome.error);
    REQUIRE(outcome.status == 0);
    const std::string commands = ReadBytes(folder / "build/compile_commands.json");
    CHECK(commands.find("-DPACKAGE ") != std::string::npos);
    CHECK(commands.find("-O1 -DPACKAGED ") != std::string::npos);
    CHECK(commands.find(" -O2") == std::string::npos);
    CHECK(commands.find(" -O3") == std::string::npos);
}
