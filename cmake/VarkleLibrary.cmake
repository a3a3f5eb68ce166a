# varkle_library(Name SOURCES... [PUBLIC libraries...] [PRIVATE libraries...] [HEADERS precompiled...])
#
# Defines the shared library Varkle::Name, target VarkleName, from the sources of the folder; include/ holds its public
# headers and src/ the rest. It exports what the public headers mark (Varkle/Core/Export.h) and nothing that libraries
# below it brought along. Its objects are the target VarkleNameObjects, so that tests can link what the library hides.
#
# While the version is 0.x, any new minor version may change the binary interface: it is part of the SONAME.
function(varkle_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;PUBLIC;PRIVATE;HEADERS")
    set(library "Varkle${name}")
    set(objects "${library}Objects")

    add_library(${objects} OBJECT ${arg_SOURCES})
    varkle_settings(${objects})
    target_include_directories(${objects} PUBLIC
        "${CMAKE_CURRENT_SOURCE_DIR}/include" "${CMAKE_CURRENT_SOURCE_DIR}/src")
    target_link_libraries(${objects} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
    target_precompile_headers(${objects} PRIVATE ${arg_HEADERS})

    set(exports "${PROJECT_SOURCE_DIR}/cmake/exports.map")
    add_library(${library} SHARED)
    add_library(Varkle::${name} ALIAS ${library})
    target_compile_features(${library} PUBLIC cxx_std_20)
    target_include_directories(${library} INTERFACE
        "$<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
    target_link_libraries(${library} PUBLIC ${arg_PUBLIC} PRIVATE ${objects})
    target_link_options(${library} PRIVATE "LINKER:--version-script=${exports}")
    set_target_properties(${library} PROPERTIES
        EXPORT_NAME ${name}
        LINKER_LANGUAGE CXX
        LINK_DEPENDS "${exports}"
        VERSION "${PROJECT_VERSION}"
        SOVERSION "${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")
endfunction()
