// The one place where tinygltf's own code is compiled; the build turns its warnings off.

#include <nlohmann/json.hpp>
#define TINYGLTF_IMPLEMENTATION
#include "model/TinyGltf.h"
