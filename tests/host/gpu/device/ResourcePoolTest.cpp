#include "device/ResourcePool.h"

#include "support/Catch.h"

#include <string>

using namespace Varkle;
using Pool = ResourcePool<int, std::string>;

TEST_CASE("A pool hands out what fits the key, the last that came first")
{
    Pool pool;
    pool.Give(1, "a", 10);
    pool.Give(2, "b", 20);
    pool.Give(1, "c", 10);
    CHECK(pool.Count() == 3);
    CHECK(pool.Bytes() == 40);
    CHECK(pool.Take(1) == "c");
    CHECK(pool.Take(1) == "a");
    CHECK(pool.Take(1) == std::nullopt);
    CHECK(pool.Take(2) == "b");
    CHECK(pool.Count() == 0);
    CHECK(pool.Bytes() == 0);
}

TEST_CASE("A pool drops what waits for longer than it should")
{
    Pool pool;
    pool.Give(1, "a", 10);
    const auto between = Pool::Clock::now();
    pool.Give(2, "b", 20);
    pool.Trim(between);
    CHECK(pool.Count() == 1);
    CHECK(pool.Bytes() == 20);
    pool.Trim(false); // five seconds are not over
    CHECK(pool.Take(2) == "b");

    pool.Give(3, "c", 30);
    pool.Trim(true);
    CHECK(pool.Count() == 0);
    CHECK(pool.Bytes() == 0);
}

TEST_CASE("A pool drops what waited longest when it becomes too large")
{
    Pool pool;
    pool.Give(1, "a", Pool::MaxIdleBytes / 2);
    pool.Give(2, "b", Pool::MaxIdleBytes / 2);
    CHECK(pool.Count() == 2);
    pool.Give(3, "c", 1);
    CHECK(pool.Take(1) == std::nullopt);
    CHECK(pool.Take(2) == "b");
    pool.Give(4, "too large for the pool", Pool::MaxIdleBytes + 1);
    CHECK(pool.Count() == 0);
}
