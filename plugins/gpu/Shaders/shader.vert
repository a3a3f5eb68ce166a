#version 450

// Sample, vertex stage: one triangle that covers the picture, without vertex buffers.

layout(location = 0) out vec2 uv; // (0, 0) top left, (1, 1) bottom right

void main()
{
    uv = vec2((gl_VertexIndex << 1) & 2, gl_VertexIndex & 2);
    gl_Position = vec4(2.0 * uv.x - 1.0, 1.0 - 2.0 * uv.y, 0.0, 1.0);
}
