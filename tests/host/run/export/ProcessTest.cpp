#include "export/Process.h"

#include "support/Catch.h"

using namespace Varkle;
using namespace std::chrono_literals;

TEST_CASE("Of what a program prints as errors the last 64 KiB are kept")
{
    const auto process = Process::Start("/bin/sh", {"-c", "head -c 10000000 /dev/zero >&2; echo end >&2; exit 3"});
    REQUIRE(process);
    REQUIRE((*process)->WaitForEnd(60s));
    CHECK((*process)->DescribeEnd() == "ended with exit status 3");
    CHECK((*process)->GetErrors().size() == 65536);
    CHECK((*process)->GetLastErrors(1)[0].ends_with("end"));
}

TEST_CASE("A program that says much while it takes little in does not hold itself up")
{
    const auto process = Process::Start("/bin/sh", {"-c", "head -c 1000000 /dev/zero >&2; exec cat >/dev/null"});
    REQUIRE(process);
    const std::vector<std::uint8_t> bytes(std::size_t(4) << 20);
    CHECK((*process)->Write(bytes));
    (*process)->CloseInput();
    REQUIRE((*process)->WaitForEnd(60s));
    CHECK((*process)->HasSucceeded());
}
