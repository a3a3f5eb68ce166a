// Which files the operators that read some are known to have read.

#include "Varkle/Core/Plugin.h"
#include "Varkle/Document/GraphSession.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include <set>

using namespace Varkle;

namespace
{

using Paths = std::set<std::filesystem::path>;

Paths FilesRead(GraphSession& session, std::string_view key)
{
    const auto& files = session.GetGraph().Find(key)->GetFilesRead();
    CHECK(files.size() == Paths(files.begin(), files.end()).size());
    return {files.begin(), files.end()};
}

GraphSession OpenInFolder(const std::string& operators, const TemporaryFolder& folder)
{
    Result<GraphSession> session = GraphSession::Parse(
        R"({ "format": "varkle-graph", "version": 1, "operators": [)" + operators + "] }", "g", folder.GetPath());
    if (!session)
        FAIL(session.GetError().message);
    return std::move(*session);
}

void WritePicture(const std::string& path)
{
    const Image image({1, 1}, {1, 2, 3, 255});
    const std::vector<std::uint8_t> bytes = image.Encode(ImageFormat::Png);
    WriteBytes(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

} // namespace

TEST_CASE("Load Image has read its picture, also one that is missing or none")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    const TemporaryFolder folder;
    WritePicture(folder / "a.png");
    WriteBytes(folder / "note.png", "no picture");
    GraphSession session = OpenInFolder(R"(
{ "key": "good", "type": "Varkle.Texture.LoadImage", "parameters": { "Path": "x/../a.png" } },
{ "key": "none", "type": "Varkle.Texture.LoadImage", "parameters": { "Path": "note.png" } },
{ "key": "missing", "type": "Varkle.Texture.LoadImage", "parameters": { "Path": "missing.png" } },
{ "key": "empty", "type": "Varkle.Texture.LoadImage" },
{ "key": "soft", "type": "Varkle.Texture.Blur", "inputs": { "Texture Input": "good" } })",
                                        folder);
    session.GoToFrame(0);
    CHECK(FilesRead(session, "good") == Paths{folder / "a.png"});
    CHECK(FilesRead(session, "none") == Paths{folder / "note.png"});
    CHECK(FilesRead(session, "missing") == Paths{folder / "missing.png"});
    CHECK(FilesRead(session, "empty").empty());
    CHECK(FilesRead(session, "soft").empty());
    REQUIRE(session.GetTexture("good"));

    // What a host does when it hears that the file is there.
    WritePicture(folder / "missing.png");
    session.GetGraph().Find("missing")->MarkDirty();
    session.GoToFrame(1);
    CHECK(session.GetTexture("missing"));
}

TEST_CASE("Load 3D Model has read its file and those that it refers to, also missing ones")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    const TemporaryFolder folder;
    const auto writeModel = [&](const std::string& buffer)
    {
        WriteBytes(folder / "m.gltf", R"({ "asset": { "version": "2.0" }, "scene": 0,
"scenes": [ { "nodes": [0] } ], "nodes": [ { "mesh": 0 } ],
"meshes": [ { "primitives": [ { "attributes": { "POSITION": 0 }, "material": 0 } ] } ],
"accessors": [ { "bufferView": 0, "componentType": 5126, "count": 3, "type": "VEC3",
"min": [0, 0, 0], "max": [0, 0, 0] } ],
"bufferViews": [ { "buffer": 0, "byteLength": 36 } ], "buffers": [ { "uri": ")" +
                                          buffer + R"(", "byteLength": 36 } ],
"materials": [ { "pbrMetallicRoughness": { "baseColorTexture": { "index": 0 } } } ],
"textures": [ { "source": 0 }, { "source": 1 } ],
"images": [ { "uri": "a.png" }, { "uri": "gone.png" } ] })");
    };
    WriteBytes(folder / "points.bin", std::string(36, '\0'));
    WritePicture(folder / "a.png");
    writeModel("points.bin");
    GraphSession session = OpenInFolder(
        R"({ "key": "m", "type": "Varkle.Model.Load3DModel", "parameters": { "File Path": "m.gltf" } })", folder);
    session.GoToFrame(0);
    CHECK(FilesRead(session, "m") ==
          Paths{folder / "m.gltf", folder / "points.bin", folder / "a.png", folder / "gone.png"});

    const LogRecorder log;
    writeModel("gone.bin");
    session.GetGraph().Find("m")->MarkDirty();
    session.GoToFrame(1);
    CHECK(log.Contains("gone.bin"));
    const Paths files = FilesRead(session, "m");
    CHECK(files.contains(folder / "m.gltf"));
    CHECK(files.contains(folder / "gone.bin"));
    CHECK_FALSE(files.contains(folder / "points.bin"));
}

TEST_CASE("Save Image reads no file")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    const TemporaryFolder folder;
    WritePicture(folder / "a.png");
    GraphSession session = OpenInFolder(R"(
{ "key": "in", "type": "Varkle.Texture.LoadImage", "parameters": { "Path": "a.png" } },
{ "key": "out", "type": "Varkle.Texture.SaveImage", "inputs": { "Texture Input": "in" },
  "parameters": { "Folder": ".", "File Name": "b", "Save": true } })",
                                        folder);
    session.GoToFrame(0);
    GraphSession::Finish();
    CHECK(std::filesystem::exists(folder / "b.png"));
    CHECK(FilesRead(session, "out").empty());
    CHECK(FilesRead(session, "in") == Paths{folder / "a.png"});
}
