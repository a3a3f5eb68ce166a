# Defines Varkle::WebGpu: a distribution's own Dawn where CMake finds one, else the pinned build in third_party/webgpu,
# which tools/setup unpacks.
find_package(Dawn CONFIG QUIET)
if(Dawn_FOUND)
    message(STATUS "WebGPU: Dawn ${Dawn_VERSION} of this system")
    add_library(Varkle::WebGpu INTERFACE IMPORTED GLOBAL)
    target_link_libraries(Varkle::WebGpu INTERFACE dawn::webgpu_dawn)
    set(VARKLE_PINNED_WEBGPU OFF)
else()
    set(webgpu "${CMAKE_CURRENT_LIST_DIR}/../third_party/webgpu")
    if(NOT EXISTS "${webgpu}/lib/libwebgpu_wrapper.so")
        message(FATAL_ERROR "There is no WebGPU here: no CMake package Dawn, and third_party/webgpu is missing. Run tools/setup.")
    endif()
    message(STATUS "WebGPU: the pinned Dawn of third_party/webgpu")
    # The library has no SONAME: it is copied to where our own libraries are built, and found there by its file name.
    file(COPY "${webgpu}/lib/libwebgpu_wrapper.so" DESTINATION "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
    add_library(Varkle::WebGpu SHARED IMPORTED GLOBAL)
    set_target_properties(Varkle::WebGpu PROPERTIES
        IMPORTED_LOCATION "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/libwebgpu_wrapper.so"
        IMPORTED_NO_SONAME TRUE
        INTERFACE_INCLUDE_DIRECTORIES "${webgpu}/include"
        # Tells host/gpu that WGPUInstanceDescriptor has the older form.
        INTERFACE_COMPILE_DEFINITIONS VARKLE_PINNED_WEBGPU)
    set(VARKLE_PINNED_WEBGPU ON)
endif()
