#include "mesh/CreateAttribute.h"
#include "support/MeshChecks.h"

#include <bit>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

class AttributeRunner : public MeshRunner<CreateAttribute>
{
public:
    /// Sets the first components of a value parameter.
    void SetValue(const std::string& name, const glm::dvec4& value)
    {
        Varkle::Parameter* const parameter = Get().FindParameter(name);
        REQUIRE(parameter);
        if (auto* const number = dynamic_cast<FloatParameter*>(parameter))
            number->SetValue(value.x);
        else if (auto* const two = dynamic_cast<Vector2Parameter*>(parameter))
            two->SetValue(glm::dvec2(value));
        else if (auto* const three = dynamic_cast<Vector3Parameter*>(parameter))
            three->SetValue(glm::dvec3(value));
        else
            dynamic_cast<Vector4Parameter&>(*parameter).SetValue(value);
    }

    /// Runs with that many vertices and returns the values, four numbers each: those that the type lacks are 0.
    std::vector<glm::vec4> Values(unsigned count)
    {
        const Mesh result = Run(MakePoints(ScatterPoints(count)));
        const Attribute& attribute = AttributeOf(result, "attribute");
        REQUIRE(attribute.GetVertexCount() == count);
        const unsigned components = GetVertexFormatComponents(attribute.GetFormat());
        const std::vector<float> numbers = ReadBuffer<float>(attribute.GetBuffer());
        std::vector<glm::vec4> values(count, glm::vec4(0.0f));
        for (unsigned i = 0; i < count; ++i)
        {
            for (unsigned k = 0; k < components; ++k)
                values[i][int(k)] = numbers[i * components + k];
        }
        return values;
    }
};

struct TypeCase
{
    const char* name;
    int components;
    const char* parameterType;
    const char* zeros;
    const char* ones;
};

const TypeCase types[] = {{"Float32", 1, "Float", "0", "1"},
                          {"Float32x2", 2, "Vector 2", "0 0", "1 1"},
                          {"Float32x3", 3, "Vector 3", "0 0 0", "1 1 1"},
                          {"Float32x4", 4, "Vector 4", "0 0 0 0", "1 1 1 1"}};

const char* const modes[] = {"Constant", "Random", "Normal Distribution", "Sequence"};

// The value parameters that a type and a mode have at first.
Lines ExpectValueParameters(const TypeCase& type, const std::string& mode)
{
    const auto zero = [&](const std::string& name) { return name + ": " + type.parameterType + " = " + type.zeros; };
    const auto one = [&](const std::string& name) { return name + ": " + type.parameterType + " = " + type.ones; };
    if (mode == "Constant")
        return {zero("Value")};
    if (mode == "Random")
        return {zero("Min"), one("Max"), "RNG Seed: Int = 0"};
    if (mode == "Normal Distribution")
        return {zero("Mean"), one("Std Deviation"), "RNG Seed: Int = 0"};
    return {zero("Min"), one("Max")};
}

Lines ValueParameters(MeshRunner<CreateAttribute>& runner)
{
    const Lines all = Describe(runner.Get().GetParameters());
    REQUIRE(all.size() > 3);
    return {all.begin() + 3, all.end()};
}

// ---- The random numbers once more, in C++ ----

std::uint32_t Hash(std::uint32_t input)
{
    const std::uint32_t state = input * 747796405u + 2891336453u;
    const std::uint32_t word = ((state >> ((state >> 28u) + 4u)) ^ state) * 277803737u;
    return (word >> 22u) ^ word;
}

// From 0 to just under 1.
double Random(std::uint32_t input)
{
    return double(Hash(input) & 0x7FFFFFu) / 8388608.0;
}

glm::dvec4 RandomVector(std::uint32_t input)
{
    return {Random(input), Random(input + 34327u), Random(input + 82173u), Random(input - 92173u)};
}

struct Normal
{
    double radius;
    double value;
};

Normal NormalSample(std::uint32_t input)
{
    const double radius = std::sqrt(-2.0 * std::log(Random(input)));
    return {radius, radius * std::cos(6.283185307179586 * Random(input + 34327u))};
}

constexpr glm::dvec4 low{-1.0, 10.0, 0.25, 1000.0};
constexpr glm::dvec4 high{2.0, -10.0, 0.5, 1001.0};

void CheckRandom(AttributeRunner& attribute, const TypeCase& type, long long seed, unsigned count = 200)
{
    INFO(type.name << ", seed " << seed);
    attribute.SetInt("RNG Seed", seed);
    const std::vector<glm::vec4> values = attribute.Values(count);
    for (unsigned i = 0; i < count; ++i)
    {
        const glm::dvec4 expected = glm::mix(low, high, RandomVector(i + std::uint32_t(seed)));
        for (int k = 0; k < type.components; ++k)
            CHECK(double(values[i][k]) == Approx(expected[k]).epsilon(1e-6).margin(2e-6));
    }
}

void CheckNormal(AttributeRunner& attribute, const TypeCase& type, long long seed, unsigned count = 200)
{
    INFO(type.name << ", seed " << seed);
    attribute.SetInt("RNG Seed", seed);
    const std::vector<glm::vec4> values = attribute.Values(count);
    for (unsigned i = 0; i < count; ++i)
    {
        for (int k = 0; k < type.components; ++k)
        {
            const Normal sample = NormalSample(i + std::uint32_t(seed) + 100000u * std::uint32_t(k));
            // A GPU's cosine may be 5e-4 off.
            CHECK(double(values[i][k]) ==
                  Approx(low[k] + high[k] * sample.value).margin(1e-3 * std::abs(high[k]) * sample.radius + 1e-4));
        }
    }
}

// Around the ends of 32 bits, where sums with the vertex's number wrap around, and far beyond.
constexpr long long seeds[] = {0,
                               1,
                               7919,
                               -1,
                               -150,
                               2147483647LL,
                               4294967295LL,
                               4294967196LL,
                               4294967296LL + 5,
                               -4294967296LL * 3 - 77,
                               9223372036854775807LL,
                               -9223372036854775807LL - 1};

} // namespace

TEST_CASE("Create Attribute has a type, a mode, a name and a value")
{
    MeshRunner<CreateAttribute> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Input: takes Mesh", "Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Type: Enum = Float32", "Mode: Enum = Constant",
                                                          "Attribute Name: String = attribute", "Value: Float = 0"});
    const auto& type = runner.Parameter<EnumParameter>("Type");
    CHECK(type.GetPossibleValues() == std::vector<std::string>{"Float32", "Float32x2", "Float32x3", "Float32x4"});
    CHECK(type.GetLabels() == std::vector<std::string>{"Float", "Vector 2", "Vector 3", "Vector 4"});
    CHECK(type.HasFlag(ParameterFlag::Structure));
    const auto& mode = runner.Parameter<EnumParameter>("Mode");
    CHECK(mode.GetPossibleValues() ==
          std::vector<std::string>{"Constant", "Random", "Normal Distribution", "Sequence"});
    CHECK(mode.HasFlag(ParameterFlag::Structure));
    CHECK_FALSE(runner.Get().FindParameter("Attribute Name")->HasFlag(ParameterFlag::Structure));
}

TEST_CASE("Create Attribute has the value parameters of its type and mode, whichever way they were chosen")
{
    for (const TypeCase& type : types)
    {
        for (const char* const mode : modes)
        {
            INFO(type.name << ", " << mode);
            MeshRunner<CreateAttribute> typeFirst;
            typeFirst.SetEnum("Type", type.name);
            typeFirst.SetEnum("Mode", mode);
            CHECK(ValueParameters(typeFirst) == ExpectValueParameters(type, mode));
            MeshRunner<CreateAttribute> modeFirst;
            modeFirst.SetEnum("Mode", mode);
            modeFirst.SetEnum("Type", type.name);
            CHECK(ValueParameters(modeFirst) == ExpectValueParameters(type, mode));
        }
    }
}

TEST_CASE("Create Attribute has the same parameters after any change of type and mode as a new operator")
{
    MeshRunner<CreateAttribute> runner;
    for (const TypeCase& fromType : types)
    {
        for (const char* const fromMode : modes)
        {
            for (const TypeCase& toType : types)
            {
                for (const char* const toMode : modes)
                {
                    INFO(fromType.name << ", " << fromMode << " to " << toType.name << ", " << toMode);
                    runner.SetEnum("Type", fromType.name);
                    runner.SetEnum("Mode", fromMode);
                    runner.SetEnum("Type", toType.name);
                    CHECK(ValueParameters(runner) == ExpectValueParameters(toType, fromMode));
                    runner.SetEnum("Mode", toMode);
                    CHECK(ValueParameters(runner) == ExpectValueParameters(toType, toMode));
                }
            }
        }
    }
}

TEST_CASE("Create Attribute's value parameters can be found by key and name and belong to it")
{
    MeshRunner<CreateAttribute> runner;
    runner.SetEnum("Mode", "Random");
    for (const char* const name : {"Min", "Max", "RNG Seed"})
    {
        Parameter* const parameter = runner.Get().FindParameter(name);
        REQUIRE(parameter);
        CHECK(parameter->GetKey() == name);
        CHECK(parameter->GetName() == name);
        CHECK(parameter->GetOperator() == &runner.Get());
        CHECK(runner.Get().FindChild(name) == parameter);
        CHECK_FALSE(parameter->HasFlag(ParameterFlag::Output));
    }
    CHECK(runner.Parameter<FloatParameter>("Max").DefaultValue() == 1.0);
    CHECK(runner.Get().FindParameter("Value") == nullptr);
}

TEST_CASE("Create Attribute keeps values that fit the new mode, and starts anew with a new type")
{
    MeshRunner<CreateAttribute> runner;
    runner.SetEnum("Mode", "Random");
    runner.SetFloat("Min", -3.0);
    runner.SetFloat("Max", 4.0);
    runner.SetInt("RNG Seed", 99);
    runner.SetEnum("Mode", "Sequence");
    CHECK(ValueParameters(runner) == Lines{"Min: Float = -3", "Max: Float = 4"});
    runner.SetEnum("Mode", "Random");
    CHECK(runner.Parameter<FloatParameter>("Min").Value() == -3.0);
    CHECK(runner.Parameter<FloatParameter>("Max").Value() == 4.0);

    runner.SetInt("RNG Seed", 99);
    const Parameter* const seed = runner.Get().FindParameter("RNG Seed");
    runner.SetEnum("Mode", "Normal Distribution");
    CHECK(ValueParameters(runner) == Lines{"Mean: Float = 0", "Std Deviation: Float = 1", "RNG Seed: Int = 99"});
    CHECK(runner.Get().FindParameter("RNG Seed") == seed);
    runner.SetEnum("Mode", "Random");
    runner.SetFloat("Min", -3.0);
    runner.SetEnum("Type", "Float32x3");
    CHECK(ValueParameters(runner) == Lines{"Min: Vector 3 = 0 0 0", "Max: Vector 3 = 1 1 1", "RNG Seed: Int = 99"});
    CHECK(runner.Get().FindParameter("RNG Seed") == seed);
}

TEST_CASE("Create Attribute keeps its value parameters as they are while type and mode are set to the same again")
{
    MeshRunner<CreateAttribute> runner;
    runner.SetEnum("Mode", "Random");
    const unsigned long version = runner.Get().GetStructureVersion();
    const Parameter* const smallest = runner.Get().FindParameter("Min");
    runner.SetEnum("Mode", "Random");
    runner.SetEnum("Type", "Float32");
    runner.Get().UpdateStructure();
    CHECK(runner.Get().FindParameter("Min") == smallest);
    CHECK(runner.Get().GetStructureVersion() == version);
}

TEST_CASE("Create Attribute takes an unknown type and mode as the first ones")
{
    AttributeRunner attribute;
    attribute.SetEnum("Type", "Float32x4");
    attribute.SetEnum("Mode", "Random");
    attribute.SetEnum("Type", "Float64");
    attribute.SetEnum("Mode", "Chaotic");
    CHECK(ValueParameters(attribute) == Lines{"Value: Float = 0"});
    attribute.SetValue("Value", glm::dvec4(2.5));
    CHECK(attribute.Values(2) == std::vector<glm::vec4>(2, {2.5f, 0, 0, 0}));
}

TEST_CASE("Create Attribute adds the attribute in its type behind the others and shares everything else")
{
    AttributeRunner attribute;
    const Mesh mesh = MakeRichMesh(70);
    attribute.Feed(mesh);
    attribute.SetString("Attribute Name", "my own");
    for (const TypeCase& type : types)
    {
        attribute.SetEnum("Type", type.name);
        CheckShared(mesh, attribute.Run(), {}, {std::string("my own: ") + type.name + ", 70"});
    }
}

TEST_CASE("Create Attribute, Constant: every vertex has the value")
{
    AttributeRunner attribute;
    for (const TypeCase& type : types)
    {
        INFO(type.name);
        attribute.SetEnum("Type", type.name);
        attribute.SetValue("Value", {0.1, -2.0, 3e10, 4.0});
        glm::vec4 expected(0.0f);
        for (int k = 0; k < type.components; ++k)
            expected[k] = glm::vec4(0.1f, -2.0f, 3e10f, 4.0f)[k];
        for (const unsigned count : vertexCounts)
            CHECK(attribute.Values(count) == std::vector<glm::vec4>(count, expected));
    }
}

TEST_CASE("Create Attribute, Random: the hash of the vertex's number and the seed, between the smallest and largest")
{
    AttributeRunner attribute;
    attribute.SetEnum("Mode", "Random");
    for (const TypeCase& type : types)
    {
        attribute.SetEnum("Type", type.name);
        attribute.SetValue("Min", low);
        attribute.SetValue("Max", high);
        for (const long long seed : seeds)
            CheckRandom(attribute, type, seed);
        for (const unsigned count : vertexCounts)
            CheckRandom(attribute, type, 3, count);
    }
}

TEST_CASE("Create Attribute, Random: by hand, the first value of seed 0")
{
    AttributeRunner attribute;
    attribute.SetEnum("Mode", "Random");
    // The hash of 0 is 129708002; its low 23 bits are 3878882.
    CHECK(attribute.Values(1)[0].x == 3878882.0f / 8388608.0f);
}

TEST_CASE("Create Attribute, Normal Distribution: independent samples around the mean")
{
    AttributeRunner attribute;
    attribute.SetEnum("Mode", "Normal Distribution");
    for (const TypeCase& type : types)
    {
        attribute.SetEnum("Type", type.name);
        attribute.SetValue("Mean", low);
        attribute.SetValue("Std Deviation", high);
        for (const long long seed : seeds)
            CheckNormal(attribute, type, seed);
        for (const unsigned count : vertexCounts)
            CheckNormal(attribute, type, 3, count);
    }
}

TEST_CASE("Create Attribute, Normal Distribution: infinite where the first random number is 0")
{
    std::uint32_t seed = 0;
    while ((Hash(seed) & 0x7FFFFFu) != 0)
        ++seed;
    AttributeRunner attribute;
    attribute.SetEnum("Mode", "Normal Distribution");
    attribute.SetInt("RNG Seed", seed);
    CHECK_FALSE(std::isfinite(attribute.Values(1)[0].x));
}

TEST_CASE("Create Attribute, Sequence: an even ramp from the first vertex to the last")
{
    AttributeRunner attribute;
    attribute.SetEnum("Mode", "Sequence");
    CHECK(attribute.Values(5) ==
          std::vector<glm::vec4>{{0, 0, 0, 0}, {0.25f, 0, 0, 0}, {0.5f, 0, 0, 0}, {0.75f, 0, 0, 0}, {1, 0, 0, 0}});
    for (const TypeCase& type : types)
    {
        attribute.SetEnum("Type", type.name);
        attribute.SetValue("Min", low);
        attribute.SetValue("Max", high);
        for (const unsigned count : {2u, 63u, 64u, 65u, 130u})
        {
            INFO(type.name << ", " << count);
            const std::vector<glm::vec4> values = attribute.Values(count);
            for (unsigned i = 0; i < count; ++i)
            {
                const glm::dvec4 expected = glm::mix(low, high, double(i) / (count - 1));
                for (int k = 0; k < type.components; ++k)
                    CHECK(double(values[i][k]) == Approx(expected[k]).epsilon(1e-6).margin(2e-6));
            }
        }
    }
}

TEST_CASE("Create Attribute, Sequence: a single vertex has the first value")
{
    AttributeRunner attribute;
    attribute.SetEnum("Type", "Float32x2");
    attribute.SetEnum("Mode", "Sequence");
    attribute.SetValue("Min", {7.0, -8.0, 0, 0});
    attribute.SetValue("Max", {9.0, 9.0, 0, 0});
    CHECK(attribute.Values(1) == std::vector<glm::vec4>{{7, -8, 0, 0}});
    CHECK(attribute.Values(0).empty());
}

TEST_CASE("Create Attribute gives the same values for the same seed, whatever the mesh, and others for another")
{
    AttributeRunner attribute;
    attribute.SetEnum("Mode", "Random");
    attribute.SetInt("RNG Seed", 5);
    const std::vector<glm::vec4> first = attribute.Values(100);
    attribute.Get().MarkDirty();
    CHECK(attribute.Values(100) == first);
    const std::vector<glm::vec4> longer = attribute.Values(150);
    CHECK(std::vector(longer.begin(), longer.begin() + 100) == first);
    AttributeRunner second;
    second.SetEnum("Mode", "Random");
    second.SetInt("RNG Seed", 5);
    CHECK(second.Values(100) == first);
    second.SetInt("RNG Seed", 6);
    CHECK_FALSE(second.Values(100) == first);
}

TEST_CASE("Create Attribute goes from type to type and mode to mode without values of the ones before")
{
    AttributeRunner attribute;
    attribute.SetValue("Value", glm::dvec4(5.0));
    CHECK(attribute.Values(2)[1] == glm::vec4(5, 0, 0, 0));
    attribute.SetEnum("Type", "Float32x3");
    CHECK(attribute.Values(2)[1] == glm::vec4(0));
    attribute.SetEnum("Mode", "Sequence");
    CHECK(attribute.Values(2)[1] == glm::vec4(1, 1, 1, 0));
    attribute.SetEnum("Mode", "Constant");
    CHECK(attribute.Values(2)[1] == glm::vec4(0));
    attribute.SetEnum("Type", "Float32");
    CHECK(attribute.Values(2)[1] == glm::vec4(0));
}

TEST_CASE("Create Attribute replaces an attribute of its name in its place, the positions too")
{
    AttributeRunner attribute;
    const Mesh mesh = MakeRichMesh(3);
    attribute.Feed(mesh);
    attribute.SetValue("Value", glm::dvec4(2.0));
    attribute.SetString("Attribute Name", "Normal");
    Mesh result = attribute.Run();
    CHECK(result.GetAttributes().size() == 6);
    CHECK(DescribeAttributes(result)[1] == "Normal: Float32, 3");
    CHECK(ReadAttribute<float>(result, "Normal") == std::vector<float>(3, 2.0f));
    attribute.SetString("Attribute Name", "Position");
    result = attribute.Run();
    CHECK(DescribeAttributes(result)[3] == "Position: Float32, 3");
    attribute.SetString("Attribute Name", "");
    CHECK(DescribeAttributes(attribute.Run()).back() == ": Float32, 3");
    CHECK(DescribeAttributes(mesh)[1] == "Normal: Float32x3, 3");
}

TEST_CASE("Create Attribute hands a mesh without positions on as it is")
{
    MeshRunner<CreateAttribute> runner;
    CheckPassesThrough(runner, Mesh());
    CheckPassesThrough(runner, Mesh().AddAttribute({Attributes::Normal, 3}));
}

TEST_CASE("Create Attribute without a mesh keeps what it published")
{
    AttributeRunner attribute;
    CheckNeedsMesh(attribute);
}

TEST_CASE("Create Attribute never writes a mesh that it published")
{
    AttributeRunner attribute;
    attribute.Feed(MakeRichMesh(9));
    attribute.SetEnum("Mode", "Random");
    CheckPublishedStays<float>(attribute, "attribute", [&] { attribute.SetInt("RNG Seed", 2); });
}

TEST_CASE("Create Attribute in the steady state creates nothing on the GPU, also when type and mode change")
{
    AttributeRunner attribute;
    attribute.Feed(MakeRichMesh(100));
    for (const TypeCase& type : types) // compiles each once
    {
        attribute.SetEnum("Type", type.name);
        attribute.Execute();
        attribute.Get().MarkDirty();
        attribute.Execute();
    }
    CheckMeshSteadyState(attribute,
                         [&](int step)
                         {
                             attribute.SetEnum("Type", types[step % 3].name);
                             attribute.SetEnum("Mode", modes[step % 4]);
                             attribute.SetString("Attribute Name", step % 2 ? "a" : "b");
                         });
}

TEST_CASE("Create Attribute goes on with values that are not finite")
{
    AttributeRunner attribute;
    attribute.Feed(MakeRichMesh(5));
    for (const char* const mode : modes)
    {
        attribute.SetEnum("Mode", mode);
        CheckMeshSurvivesOddNumbers(attribute);
    }
    attribute.SetEnum("Mode", "Constant");
    attribute.SetValue("Value", glm::dvec4(1.5));
    CHECK(attribute.Values(1)[0].x == 1.5f);
}
