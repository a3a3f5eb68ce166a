#version 450

// Noise, vertex stage: places the corners of a quad and says where each lies in the noise field.

layout(set = 0, binding = 0, std140) uniform VertexUniforms
{
    mat4 noiseTransform; // from the quad's plane (z = 0) into the noise field
};

layout(location = 0) in vec2 vertexPositionIn; // clip space
layout(location = 1) in vec2 noisePositionIn;
layout(location = 0) out vec3 noisePosition;

void main()
{
    noisePosition = (noiseTransform * vec4(noisePositionIn, 0.0, 1.0)).xyz;
    gl_Position = vec4(vertexPositionIn, 0.0, 1.0);
}
