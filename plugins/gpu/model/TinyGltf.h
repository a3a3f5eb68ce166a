#pragma once

// tinygltf without its picture reader and writer, which this library has no use for. Files include this rather than
// <tiny_gltf.h>: the macros change what its classes hold.

#define TINYGLTF_NO_STB_IMAGE
#define TINYGLTF_NO_STB_IMAGE_WRITE
#define TINYGLTF_NO_EXTERNAL_IMAGE
#define TINYGLTF_NO_INCLUDE_JSON

#include <tiny_gltf.h>
