// Renders one operator of a graph inside another program: embed GRAPH KEY OUTPUT.png [KEY.PARAMETER=VALUE]

#include <Varkle/Core/FileWriting.h>
#include <Varkle/Core/Plugin.h>
#include <Varkle/Document/GraphSession.h>

#include <cstdio>
#include <string>
#include <vector>

int Fail(const std::string& message)
{
    std::fprintf(stderr, "%s\n", message.c_str());
    return 1;
}

int main(int argc, char** argv)
{
    if (argc < 4)
        return Fail("usage: embed GRAPH KEY OUTPUT.png [KEY.PARAMETER=VALUE]");

    const Varkle::LoadedPlugins loaded = Varkle::Plugin::LoadDefaults(); // stays alive as long as the graph
    for (const Varkle::Error& error : loaded.errors)
        std::fprintf(stderr, "%s\n", error.message.c_str());

    auto session = Varkle::GraphSession::Load(argv[1]);
    if (!session)
        return Fail(session.GetError().message);

    if (const std::string setting = argc > 4 ? argv[4] : ""; !setting.empty())
    {
        const std::size_t equals = setting.find('=');
        const auto set = session->SetParameter(setting.substr(0, equals), setting.substr(equals + 1));
        if (!set)
            return Fail(set.GetError().message);
    }

    session->GoToFrame(0);
    const Varkle::Image image = session->ReadPixels(argv[2]);
    if (!image.IsValid())
        return Fail("the operator carries no texture");

    const std::vector<std::uint8_t> png = image.Encode(Varkle::ImageFormat::Png);
    const auto written = Varkle::WriteFileAtomically(argv[3], {reinterpret_cast<const char*>(png.data()), png.size()});
    return written ? 0 : Fail(written.GetError().message);
}
