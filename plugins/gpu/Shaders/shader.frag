#version 450

// Sample, fragment stage: the texture coordinates as a color.

layout(location = 0) in vec2 uv;
layout(location = 0) out vec4 color;

void main()
{
    color = vec4(uv, 0.0, 1.0);
}
