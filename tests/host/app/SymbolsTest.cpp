#include "app/ProgramRunner.h"
#include "support/Catch.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

// What the built libraries offer to others, read from the files by nm.

using namespace Varkle;

namespace
{

const std::filesystem::path libraryFolder = VARKLE_BUILD "/lib";

// Returns the symbols that a library defines for others, as the compiler calls them or readable.
std::vector<std::string> ExportedSymbols(const std::filesystem::path& library, bool readable)
{
    std::vector<std::string> arguments{"nm", "--dynamic", "--defined-only", "--format=posix", library.string()};
    if (readable)
        arguments.insert(arguments.begin() + 1, "--demangle");
    const Outcome outcome = ProgramRunner(arguments).Run();
    REQUIRE(outcome.status == 0);

    // A readable name has blanks of its own; type, address and, mostly, size stand behind it.
    const std::regex form("(.+) [A-Za-z] [0-9a-f]+ ?[0-9a-f]*");
    std::vector<std::string> symbols;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);)
    {
        std::smatch parts;
        REQUIRE(std::regex_match(line, parts, form));
        symbols.push_back(parts[1]);
    }
    return symbols;
}

std::vector<std::string> Names()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(VARKLE_SOURCES "/host"))
    {
        std::string name = entry.path().filename().string();
        if (!std::filesystem::exists(entry.path() / "include/Varkle"))
            continue;
        name[0] = char(name[0] - 'a' + 'A');
        names.push_back(name);
    }
    return names;
}

std::filesystem::path LibraryPath(const std::string& name)
{
    return libraryFolder / ("libVarkle" + name + ".so");
}

// All identifiers of a library's public headers.
std::set<std::string> PublicWords(const std::string& name)
{
    std::string folder = name;
    folder[0] = char(folder[0] - 'A' + 'a');
    std::set<std::string> words;
    for (const auto& header :
         std::filesystem::directory_iterator(VARKLE_SOURCES "/host/" + folder + "/include/Varkle/" + name))
    {
        const std::string text = ReadBytes(header.path().string());
        std::string word;
        for (const char c : text + " ")
        {
            if (std::isalnum(static_cast<unsigned char>(c)) || c == '_')
                word += c;
            else if (!word.empty())
                words.insert(std::exchange(word, {}));
        }
    }
    return words;
}

// Returns the identifiers of the scopes and of the entity itself: "Varkle", "Graph", "Run" of
// "Varkle::Graph::Run(...)".
std::vector<std::string> Scopes(std::string symbol)
{
    for (const char* prefix : {"typeinfo for ", "typeinfo name for ", "vtable for ", "VTT for ", "guard variable for ",
                               "non-virtual thunk to ", "virtual thunk to "})
    {
        if (symbol.starts_with(prefix))
            symbol.erase(0, std::string_view(prefix).size());
    }
    symbol = std::regex_replace(symbol, std::regex("\\[abi:[a-z0-9]+\\]"), "");
    std::vector<std::string> scopes;
    std::string word;
    int depth = 0; // in a list of template arguments
    for (const char c : symbol)
    {
        if (c == '(' && depth == 0)
            break;
        depth += c == '<' ? 1 : c == '>' ? -1 : 0;
        if (depth > 0 || c == '>')
            continue;
        if (std::isalnum(static_cast<unsigned char>(c)) || c == '_')
            word += c;
        else if (!word.empty())
            scopes.push_back(std::exchange(word, {}));
    }
    if (!word.empty())
        scopes.push_back(word);
    return scopes;
}

} // namespace

TEST_CASE("Each symbol that the libraries export has one owner")
{
    std::map<std::string, std::string> owners;
    for (const std::string& name : Names())
    {
        const std::vector<std::string> symbols = ExportedSymbols(LibraryPath(name), false);
        CHECK(!symbols.empty());
        for (const std::string& symbol : symbols)
        {
            const auto [owner, isNew] = owners.try_emplace(symbol, name);
            INFO(symbol << " is exported by libVarkle" << owner->second << " and libVarkle" << name);
            CHECK(isNew);
        }
    }
}

TEST_CASE("A library exports nothing that its public headers do not name")
{
    for (const std::string& name : Names())
    {
        const std::set<std::string> words = PublicWords(name);
        for (const std::string& symbol : ExportedSymbols(LibraryPath(name), true))
        {
            INFO("libVarkle" << name << " exports " << symbol);
            const std::vector<std::string> scopes = Scopes(symbol);
            REQUIRE(!scopes.empty());
            CHECK(scopes[0].starts_with("Varkle")); // longer for functions of C, which have no scope
            for (const std::string& scope : scopes)
            {
                INFO("no public header has the word " << scope);
                CHECK(words.contains(scope));
            }
        }
    }
}

TEST_CASE("The libraries state the version of their binary interface")
{
    for (const std::string& name : Names())
    {
        const Outcome outcome = ProgramRunner({"readelf", "--dynamic", LibraryPath(name).string()}).Run();
        CHECK(outcome.output.find("SONAME") != std::string::npos);
        CHECK(outcome.output.find("[libVarkle" + name + ".so.0.1]") != std::string::npos);
    }
}
