#include "Varkle/Core/Plugin.h"

#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <optional>
#include <sys/stat.h>

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
    CHECK(LoadingError(folder / "cut.so") == "could not load the plug-in " + folder / "cut.so" +
                                                 ": the file is cut off: it has 4 bytes and should have at least 64.");
}

TEST_CASE("A plug-in file that is a pipe or a device is refused and not waited for")
{
    const TemporaryFolder folder;
    REQUIRE(mkfifo((folder / "pipe.so").c_str(), 0600) == 0);
    CHECK(LoadingError(folder / "pipe.so") ==
          "could not load the plug-in " + folder / "pipe.so" + ": this is not a regular file.");
    CHECK(LoadingError("/dev/zero") == "could not load the plug-in /dev/zero: this is not a regular file.");
}

TEST_CASE("A plug-in file that is cut off anywhere in what is loaded is refused")
{
    const TemporaryFolder folder;
    const std::string whole = ReadBytes(GOOD_PLUGIN);
    for (const std::size_t size :
         {std::size_t(10), std::size_t(63), std::size_t(64), std::size_t(500), whole.size() / 4, whole.size() / 3})
    {
        WriteBytes(folder / "cut.so", whole.substr(0, size));
        const std::string message = LoadingError(folder / "cut.so");
        INFO(message);
        CHECK(message.find("the file is cut off: it has " + std::to_string(size) + " bytes") != std::string::npos);
    }
}

TEST_CASE("A plug-in that was built for another version is refused with both versions, and nothing of it runs")
{
    const LogRecorder log;
    CHECK(LoadingError(OTHER_VERSION_PLUGIN) == "could not load the plug-in " OTHER_VERSION_PLUGIN
                                                ": it was built for version 99.3 of Varkle, and this is version 0.1.");
    CHECK(log.lines.empty());
}

TEST_CASE("A plug-in that registers a type that is there is refused and taken back, and the first one stays")
{
    const Result<Plugin> plugin = Plugin::Load(GOOD_PLUGIN);
    REQUIRE(plugin);
    const ObjectType* const type = TypeLibrary::Get().Find("Test.Good")->type;
    const LogRecorder log;
    CHECK(LoadingError(DOUBLE_PLUGIN) == "could not load the plug-in " DOUBLE_PLUGIN
                                         ": The operator type \"Test.Good\" is registered already.");
    REQUIRE(TypeLibrary::Get().Find("Test.Good"));
    CHECK(TypeLibrary::Get().Find("Test.Good")->type == type);
    CHECK(!TypeLibrary::Get().Find("Test.Own"));
    CHECK(!FileImportRegistry::Get().FindType("a.own"));
    CHECK(FileImportRegistry::Get().CreateOperator("a.good"));
    CHECK(log.lines == std::vector<std::string>{"info: The plug-in with a type too many is unloaded."});
}

TEST_CASE("The default plug-ins are those of the folders of VARKLE_PLUGIN_PATH, by name, each file once")
{
    const TemporaryFolder first;
    const TemporaryFolder second;
    std::filesystem::copy(GOOD_PLUGIN, first / "b.so");
    std::filesystem::create_symlink(first / "b.so", second / "again.so");
    std::filesystem::copy(GOOD_PLUGIN, second / "z.so"); // registers the same type
    WriteBytes(first / "a.so", "This is no library.");
    WriteBytes(first / "notes.txt", "Neither is this.");
    const std::string folders = first / "" + "::" + second / "" + ":" + first / "none";
    setenv("VARKLE_PLUGIN_PATH", folders.c_str(), 1);
    const LoadedPlugins loaded = Plugin::LoadDefaults();
    unsetenv("VARKLE_PLUGIN_PATH");

    REQUIRE(!loaded.plugins.empty());
    CHECK(loaded.plugins.back().GetPath() == first / "b.so");
    CHECK(TypeLibrary::Get().Find("Test.Good"));
    std::vector<std::string> errors;
    for (const Error& error : loaded.errors)
    {
        if (error.message.find(Plugin::GetDefaultFolder()) == std::string::npos) // may not have been built
            errors.push_back(error.message);
    }
    CHECK(errors ==
          std::vector<std::string>{"could not load the plug-in " + first / "a.so" + ": this is not a shared library.",
                                   "could not load the plug-in " + second / "z.so" +
                                       ": The operator type \"Test.Good\" is registered already.",
                                   "The folder of VARKLE_PLUGIN_PATH \"" + first / "none" +
                                       "\" can't be read: No such file or directory."});
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
