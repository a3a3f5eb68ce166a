#include "Varkle/Core/FileImportRegistry.h"

#include "Varkle/Core/Operator.h"
#include "support/Catch.h"

using namespace Varkle;

namespace
{

class Loader final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Loader", Operator::Type(), [] { return new Loader; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override {}

    std::string path;
};

const ObjectType otherType("Test.Other", Operator::Type(), [] { return new Loader; });

void SetPath(Operator& op, const std::filesystem::path& path)
{
    static_cast<Loader&>(op).path = path.string();
}

} // namespace

TEST_CASE("The import registry is one for the process")
{
    CHECK(&FileImportRegistry::Get() == &FileImportRegistry::Get());
}

TEST_CASE("A file becomes an operator of the type that its extension was registered for, and knows its path")
{
    FileImportRegistry registry;
    registry.RegisterImporter({".gltf", ".glb"}, Loader::Type(), SetPath);
    CHECK(registry.FindType("scenes/a.glb") == Loader::Type());
    const std::unique_ptr<Operator> op = registry.CreateOperator("scenes/a.glb");
    REQUIRE(op);
    CHECK(op->GetType() == Loader::Type());
    CHECK(static_cast<Loader&>(*op).path == "scenes/a.glb");
}

TEST_CASE("Extensions of imported files are compared without regard to case")
{
    FileImportRegistry registry;
    registry.RegisterImporter({".png", ".JPG"}, Loader::Type(), SetPath);
    CHECK(registry.FindType("A.PNG") == Loader::Type());
    CHECK(registry.FindType("a.Jpg") == Loader::Type());
    CHECK(static_cast<Loader&>(*registry.CreateOperator("A.PNG")).path == "A.PNG");
}

TEST_CASE("A file with another extension, or none, is not imported")
{
    FileImportRegistry registry;
    registry.RegisterImporter({".png", ""}, Loader::Type(), SetPath);
    for (const char* name : {"a.tiff", "a.png.txt", "a.pn", "a", ".png", "png", "a.", "folder.png/a", ""})
    {
        INFO(name);
        CHECK(!registry.FindType(name));
        CHECK(!registry.CreateOperator(name));
    }
}

TEST_CASE("Of two importers of one extension the later one wins")
{
    FileImportRegistry registry;
    registry.RegisterImporter({".png", ".bmp"}, Loader::Type(), SetPath);
    registry.RegisterImporter({".png"}, &otherType, SetPath);
    CHECK(registry.FindType("a.png") == &otherType);
    CHECK(registry.FindType("a.bmp") == Loader::Type());
    registry.UnregisterImporters(&otherType);
    CHECK(registry.FindType("a.png") == Loader::Type());
}

TEST_CASE("The import registry forgets all importers of a type")
{
    FileImportRegistry registry;
    registry.RegisterImporter({".png"}, Loader::Type(), SetPath);
    registry.RegisterImporter({".bmp"}, &otherType, SetPath);
    registry.RegisterImporter({".glb"}, Loader::Type(), SetPath);
    registry.UnregisterImporters(Loader::Type());
    CHECK(registry.GetExtensions() == std::vector<std::string>{".bmp"});
}

TEST_CASE("The import registry forgets a range of registrations, whatever was forgotten before")
{
    FileImportRegistry registry;
    registry.RegisterImporter({".a"}, Loader::Type(), SetPath);
    const unsigned long first = registry.GetRegistrationCount();
    registry.RegisterImporter({".b"}, Loader::Type(), SetPath);
    registry.RegisterImporter({".c"}, &otherType, SetPath);
    const unsigned long end = registry.GetRegistrationCount();
    registry.RegisterImporter({".d"}, Loader::Type(), SetPath);
    CHECK(end - first == 2);

    registry.UnregisterImporters(&otherType);
    CHECK(registry.GetRegistrationCount() == end + 1);
    registry.UnregisterImporters(first, end);
    CHECK(registry.GetExtensions() == std::vector<std::string>{".a", ".d"});
}

TEST_CASE("The imported extensions are listed sorted, in lower case, each once")
{
    FileImportRegistry registry;
    registry.RegisterImporter({".png", ".BMP"}, Loader::Type(), SetPath);
    registry.RegisterImporter({".Png", ".gif"}, &otherType, SetPath);
    CHECK(registry.GetExtensions() == std::vector<std::string>{".bmp", ".gif", ".png"});
}

TEST_CASE("An importer whose type makes no operator makes nothing")
{
    const ObjectType abstract("Test.Abstract", Operator::Type(), {});
    const ObjectType plain("Test.Plain", Object::Type(), [] { return new Object; });
    bool called = false;
    const auto note = [&](Operator&, const std::filesystem::path&) { called = true; };
    FileImportRegistry registry;
    registry.RegisterImporter({".a"}, &abstract, note);
    registry.RegisterImporter({".b"}, &plain, note);
    CHECK(!registry.CreateOperator("x.a"));
    CHECK(!registry.CreateOperator("x.b"));
    CHECK(!called);
}

TEST_CASE("An importer without a function makes the operator as it is")
{
    FileImportRegistry registry;
    registry.RegisterImporter({".a"}, Loader::Type(), {});
    const std::unique_ptr<Operator> op = registry.CreateOperator("x.a");
    REQUIRE(op);
    CHECK(static_cast<Loader&>(*op).path.empty());
}
