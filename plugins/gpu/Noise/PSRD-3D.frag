#version 450
#extension GL_GOOGLE_include_directive : enable

// Noise, fragment stage: opaque gray from 3D psrdnoise.

#include "thirdparty/psrdnoise3.glsl"

layout(set = 0, binding = 1, std140) uniform FragmentUniforms
{
    float noiseRotation; // radians
    float offset;
    float amplitude;
    vec3 repetition; // period in units of the noise field, 0 for none
};

layout(location = 0) in vec3 noisePosition;
layout(location = 0) out vec4 color;

void main()
{
    vec3 gradient; // not used; compilers leave its computation out
    float value = psrdnoise(noisePosition, repetition, noiseRotation, gradient) * amplitude + offset;
    color = vec4(value, value, value, 1.0);
}
