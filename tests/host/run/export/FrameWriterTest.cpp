#include "export/FrameWriter.h"

#include "run/export/Sessions.h"
#include "support/TemporaryFolder.h"

#include <filesystem>

using namespace Varkle;
using namespace Varkle::Testing;

TEST_CASE("Pictures that take the memory that there is are written one after the other")
{
    const TemporaryFolder folder;
    GraphSession session = Open(Fading("a", 256));
    session.GoToFrame(0);
    const Texture texture = session.GetTexture("a");
    const auto write = [&](FrameWriter& writer)
    {
        for (int i = 0; i < 3; ++i)
        {
            writer.Write(texture, ImageFormat::Bmp, folder / std::to_string(i));
            CHECK(GetPictureMemory() > 0);
            CHECK((i == 0 || std::filesystem::exists(folder / std::to_string(i - 1))));
        }
        CHECK(writer.Finish());
    };
    FrameWriter writer({}, {}, 1); // byte
    write(writer);
    CHECK(folder.Count() == 3);
    CHECK(GetPictureMemory() == 0);
}

TEST_CASE("A file that can't be written is told by the one that was to be written first")
{
    const TemporaryFolder folder;
    FrameWriter writer({});
    writer.Write({1, 2, 3}, folder / "missing/first");
    writer.Write({1, 2, 3}, folder / "missing/second");
    const Status written = writer.Finish();
    REQUIRE(!written);
    CHECK(written.GetError().message == "could not write " + folder / "missing/first" + ": No such file or directory.");
}

TEST_CASE("A writer that is stopped writes nothing more and does not wait")
{
    const TemporaryFolder folder;
    std::stop_source stop;
    stop.request_stop();
    FrameWriter writer(stop.get_token());
    writer.Write({1, 2, 3}, folder / "late");
    CHECK(writer.Finish());
    GraphSession::Finish();
    CHECK(folder.Count() == 0);
}
