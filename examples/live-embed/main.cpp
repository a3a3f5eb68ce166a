// Shows a graph live inside another program, which turns one of its parameters up and down:
// live-embed GRAPH KEY.PARAMETER FROM TO [SECONDS]

#include <Varkle/Core/Log.h>
#include <Varkle/Core/Plugin.h>
#include <Varkle/Desktop/Desktop.h>
#include <Varkle/Run/LiveLoop.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

int Fail(const std::string& message)
{
    std::fprintf(stderr, "%s\n", message.c_str());
    return 1;
}

int main(int argc, char** argv)
{
    if (argc < 5)
        return Fail("usage: live-embed GRAPH KEY.PARAMETER FROM TO [SECONDS]");
    const double from = std::atof(argv[3]);
    const double to = std::atof(argv[4]);
    const double seconds = argc > 5 ? std::atof(argv[5]) : HUGE_VAL;

    // What the libraries have to say comes to whoever listens.
    const Varkle::LogListener listener([](const Varkle::LogLine& line)
                                       { std::fprintf(stderr, "%s\n", Varkle::GetPrintedText(line).c_str()); });

    const Varkle::LoadedPlugins loaded = Varkle::Plugin::LoadDefaults(); // stays alive as long as the graph
    for (const Varkle::Error& error : loaded.errors)
        std::fprintf(stderr, "%s\n", error.message.c_str());

    auto desktop = Varkle::Gui::ConnectDesktop();
    if (!desktop)
        return Fail(desktop.GetError().message);
    Varkle::Gui::Windows::Start(std::move(*desktop));

    Varkle::Status status = Varkle::Ok();
    {
        Varkle::LiveLoop loop({.document = argv[1]});
        status = loop.Start();
        const auto start = Varkle::LiveLoop::Clock::now();
        while (status && !loop.IsOver())
        {
            // Whatever else the program does has time until loop.GetDue().
            const double time = std::chrono::duration<double>(Varkle::LiveLoop::Clock::now() - start).count();
            if (time > seconds)
                break;
            const double share = 0.5 - 0.5 * std::cos(time);
            if (Varkle::GraphSession* const session = loop.GetSession())
                status = session->SetParameter(argv[2], std::to_string(from + share * (to - from)));
            if (status)
                status = loop.Step();
        }
    }
    Varkle::Gui::Windows::Stop();
    return status ? 0 : Fail(status.GetError().message);
}
