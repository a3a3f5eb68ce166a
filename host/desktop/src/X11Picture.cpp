#include "X11Window.h"

#define GLFW_EXPOSE_NATIVE_X11
#include <GLFW/glfw3.h>
#include <GLFW/glfw3native.h>
#include <X11/Xutil.h>
#include <cstdint>
#include <memory>
#include <vector>

namespace Varkle::Gui::X11
{

void PutPicture(GLFWwindow* window, const Image& picture)
{
    ::Display* const display = glfwGetX11Display();
    const ::Window xWindow = glfwGetX11Window(window);
    const auto count = std::size_t(picture.GetWidth()) * std::size_t(picture.GetHeight());
    std::vector<std::uint32_t> pixels(count); // ARGB from the highest byte
    for (std::size_t i = 0; i < count; ++i)
    {
        const std::uint8_t* const rgba = picture.GetPixels() + 4 * i;
        pixels[i] = std::uint32_t(rgba[3]) << 24 | std::uint32_t(rgba[0]) << 16 | std::uint32_t(rgba[1]) << 8 | rgba[2];
    }

    XWindowAttributes attributes{};
    if (XGetWindowAttributes(display, xWindow, &attributes) == 0)
        return; // the connection has ended
    XImage image{};
    image.width = picture.GetWidth();
    image.height = picture.GetHeight();
    image.format = ZPixmap;
    image.data = reinterpret_cast<char*>(pixels.data());
    image.byte_order = LSBFirst;
    image.bitmap_bit_order = LSBFirst;
    image.bitmap_unit = 32;
    image.bitmap_pad = 32;
    image.depth = attributes.depth; // 24 or 32, which lie in memory alike
    image.bits_per_pixel = 32;
    image.bytes_per_line = 4 * picture.GetWidth();
    const GC context = XCreateGC(display, xWindow, 0, nullptr);
    if (XInitImage(&image))
        XPutImage(display, xWindow, context, &image, 0, 0, 0, 0, unsigned(image.width), unsigned(image.height));
    XFreeGC(display, context);
    XFlush(display);
}

} // namespace Varkle::Gui::X11
