#include "Varkle/Core/Plugin.h"

#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include <optional>

using namespace Varkle;

// The build says where the plug-ins of these tests lie: GOOD_PLUGIN, NO_ENTRY_POINTS_PLUGIN, ...

namespace
{

std::string LoadingError(const std::string& path)
{
    const Result<Plugin> plugin = Plugin::Load(path);
    REQUIRE(!plugin);
    CHECK(!plugin.GetError().machine);
    return plugin.GetError().message;
}

} // namespace

TEST_CASE("Loading a plug-in registers its operator types and importers")
{
    LogRecorder log;
    const Result<Plugin> plugin = Plugin::Load(GOOD_PLUGIN);
    REQUIRE(plugin);
    CHECK(plugin->GetPath() == GOOD_PLUGIN);
    CHECK(log.lines == std::vector<std::string>{"info: The good plug-in is loaded."});

    const OperatorInfo* const info = TypeLibrary::Get().Find("Test.Good");
    REQUIRE(info);
    CHECK(info->name == "Good");
    const std::unique_ptr<Operator> op = FileImportRegistry::Get().CreateOperator("a.good");
    REQUIRE(op);
    CHECK(op->GetType() == info->type);
    auto* const path = dynamic_cast<StringParameter*>(op->FindParameter("Path"));
    REQUIRE(path);
    CHECK(path->Value() == "a.good");
}

TEST_CASE("Unloading a plug-in forgets its types and importers and then calls its unload")
{
    LogRecorder log;
    {
        const Result<Plugin> plugin = Plugin::Load(GOOD_PLUGIN);
        REQUIRE(plugin);
        CHECK(FileImportRegistry::Get().FindType("a.better") == Operator::Type());
    }
    CHECK(log.lines == std::vector<std::string>{"info: The good plug-in is loaded.",
                                                "info: The good plug-in is unloaded, after its types and importers."});
    CHECK(!TypeLibrary::Get().Find("Test.Good"));
    CHECK(!FileImportRegistry::Get().FindType("a.good"));
    CHECK(!FileImportRegistry::Get().FindType("a.better")); // registered by the plug-in for a type of the host
}

TEST_CASE("Unloading a plug-in leaves the types and importers of others alone")
{
    static const ObjectType mine("Test.Mine", Operator::Type(), {});
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(&mine, "", ""));
    const unsigned long first = FileImportRegistry::Get().GetRegistrationCount();
    FileImportRegistry::Get().RegisterImporter({".mine"}, &mine, [](Operator&, const std::filesystem::path&) {});
    {
        const Result<Plugin> plugin = Plugin::Load(GOOD_PLUGIN);
        REQUIRE(plugin);
    }
    CHECK(TypeLibrary::Get().Find("Test.Mine"));
    CHECK(FileImportRegistry::Get().FindType("a.mine") == &mine);
    TypeLibrary::Get().UnregisterOperator(&mine);
    FileImportRegistry::Get().UnregisterImporters(first, first + 1);
}

TEST_CASE("A plug-in that was unloaded can be loaded again")
{
    for (int round = 0; round < 2; ++round)
    {
        const Result<Plugin> plugin = Plugin::Load(GOOD_PLUGIN);
        REQUIRE(plugin);
        CHECK(TypeLibrary::Get().Find("Test.Good"));
    }
}

TEST_CASE("Loading a plug-in twice is an error, also under another name, and the first stays")
{
    const TemporaryFolder folder;
    std::filesystem::create_symlink(GOOD_PLUGIN, folder / "link.so");
    const Result<Plugin> plugin = Plugin::Load(GOOD_PLUGIN);
    REQUIRE(plugin);
    CHECK(LoadingError(GOOD_PLUGIN) == "could not load the plug-in " GOOD_PLUGIN ": it is loaded already.");
    CHECK(LoadingError(folder / "link.so") ==
          "could not load the plug-in " + folder / "link.so" + ": it is loaded already.");
    CHECK(TypeLibrary::Get().Find("Test.Good"));
    CHECK(FileImportRegistry::Get().CreateOperator("a.good"));
}

TEST_CASE("A plug-in handle that is moved from holds nothing")
{
    LogRecorder log;
    Result<Plugin> first = Plugin::Load(GOOD_PLUGIN);
    REQUIRE(first);
    {
        std::optional<Plugin> second(std::move(*first));
        CHECK(second->GetPath() == GOOD_PLUGIN);
        CHECK(log.lines.size() == 1);
    }
    CHECK(log.lines.size() == 2); // unloaded with the second handle
}

TEST_CASE("A plug-in is found in the current folder by its name alone")
{
    const std::filesystem::path before = std::filesystem::current_path();
    const std::filesystem::path library = GOOD_PLUGIN;
    std::filesystem::current_path(library.parent_path());
    const bool loaded = bool(Plugin::Load(library.filename().string()));
    std::filesystem::current_path(before);
    CHECK(loaded);
}

TEST_CASE("A plug-in file that is missing, a folder or no library is an error that says so")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "text.so", "This is no library.");
    WriteBytes(folder / "empty.so", "");
    WriteBytes(folder / "cut.so", "\177ELF");
    CHECK(LoadingError(folder / "none.so") ==
          "could not load the plug-in " + folder / "none.so" + ": there is no such file.");
    CHECK(LoadingError("") == "could not load the plug-in : there is no such file.");
    CHECK(LoadingError(folder / "") == "could not load the plug-in " + folder / "" + ": this is a folder.");
    CHECK(LoadingError(folder / "text.so") ==
          "could not load the plug-in " + folder / "text.so" + ": this is not a shared library.");
    CHECK(LoadingError(folder / "empty.so") ==
          "could not load the plug-in " + folder / "empty.so" + ": this is not a shared library.");
    CHECK(LoadingError(folder / "cut.so") == "could not load the plug-in " + folder / "cut.so" + ": file too short.");
}

TEST_CASE("A plug-in without both entry points is an error that names the missing one, and nothing of it runs")
{
    LogRecorder log;
    CHECK(LoadingError(NO_ENTRY_POINTS_PLUGIN) == "could not load the plug-in " NO_ENTRY_POINTS_PLUGIN
                                                  ": it does not export VarklePluginLoad.");
    CHECK(LoadingError(NO_UNLOAD_PLUGIN) == "could not load the plug-in " NO_UNLOAD_PLUGIN
                                            ": it does not export VarklePluginUnload.");
    CHECK(log.lines.empty());
    LoadingError(NO_ENTRY_POINTS_PLUGIN); // it was given back: the error is not that it is loaded
}

TEST_CASE("A plug-in that needs a missing function is an error that names the function")
{
    const std::string message = LoadingError(UNRESOLVED_PLUGIN);
    CHECK(message == "could not load the plug-in " UNRESOLVED_PLUGIN ": undefined symbol: VarkleTestMissingFunction.");
}

TEST_CASE("A plug-in whose load fails leaves nothing behind")
{
    LogRecorder log;
    CHECK(LoadingError(THROWING_PLUGIN) == "could not load the plug-in " THROWING_PLUGIN
                                           ": VarklePluginLoad failed: there is no fish.");
    CHECK(!TypeLibrary::Get().Find("Test.Throwing"));
    CHECK(log.lines == std::vector<std::string>{"info: The throwing plug-in is unloaded."});
}
