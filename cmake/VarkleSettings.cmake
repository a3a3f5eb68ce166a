# What holds for every target of ours: the language, the warnings, the sanitizers, where the built files go.
option(VARKLE_WARNINGS_AS_ERRORS "Treat warnings in our own code as errors" OFF)
set(VARKLE_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address;undefined")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_SCAN_FOR_MODULES OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden) # what is offered to others is marked: Varkle/Core/Export.h
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# One folder for programs, one for libraries, as an installed tree has them: programs find their libraries beside them.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(VARKLE_PLUGIN_OUTPUT_DIRECTORY "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/varkle/plugins") # what programs load by themselves
# As seen from libraries and from programs: the libraries' folder, and the private one in it that other packages don't see.
set(CMAKE_INSTALL_RPATH
    "$ORIGIN;$ORIGIN/varkle;$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN/../${CMAKE_INSTALL_LIBDIR}/varkle")

find_program(VARKLE_CCACHE ccache)
if(VARKLE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Precompiled headers carry times; without this ccache would never find an object made with one.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        "${VARKLE_CCACHE}")
    set(CMAKE_C_COMPILER_LAUNCHER "${VARKLE_CCACHE}")
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
    endif()
endif()

find_program(VARKLE_MOLD mold)
if(VARKLE_MOLD AND NOT "${CMAKE_EXE_LINKER_FLAGS} ${CMAKE_SHARED_LINKER_FLAGS}" MATCHES "-fuse-ld")
    add_link_options(-fuse-ld=mold)
endif()

if(VARKLE_SANITIZE)
    list(JOIN VARKLE_SANITIZE "," sanitizers)
    add_compile_options(-fsanitize=${sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${sanitizers})
endif()

# Applies the warnings to a target of ours.
function(varkle_settings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        # GCC 12 sees overflows in the inlined concatenation of std::string that are not there (GCC bug 105651).
        target_compile_options(${target} PRIVATE -Wno-restrict -Wno-stringop-overflow -Wno-array-bounds)
    endif()
    if(VARKLE_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
