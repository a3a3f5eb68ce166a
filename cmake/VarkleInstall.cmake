# Installs the program, the libraries, the plug-in, the plug-in kit and a CMake package, so that other projects can say
# find_package(Varkle) and link Varkle::Document (or Varkle::Core, Varkle::Gpu), or make a plug-in with varkle_add_plugin.
include(CMakePackageConfigHelpers)

set(package "${CMAKE_INSTALL_LIBDIR}/cmake/Varkle")

install(TARGETS VarkleCore VarkleGpu VarkleDesktop VarkleDocument VarkleRun EXPORT VarkleTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS VarkleKit EXPORT VarkleTargets ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS VarkleGpuOperators LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/varkle/plugins")
install(TARGETS varkle RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
foreach(library IN ITEMS core gpu desktop document run)
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/host/${library}/include/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
endforeach()

install(DIRECTORY "${PROJECT_SOURCE_DIR}/plugins/kit/include/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

if(VARKLE_PINNED_WEBGPU)
    set(webgpu "${PROJECT_SOURCE_DIR}/third_party/webgpu")
    install(DIRECTORY "${webgpu}/include/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
    install(PROGRAMS "${webgpu}/lib/libwebgpu_wrapper.so" DESTINATION "${CMAKE_INSTALL_LIBDIR}/varkle")
    install(FILES "${webgpu}/LICENSE.library" "${webgpu}/LICENSE.headers"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/licenses/varkle/webgpu")
endif()

install(EXPORT VarkleTargets NAMESPACE Varkle:: DESTINATION "${package}")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/VarkleConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/VarkleConfig.cmake"
    INSTALL_DESTINATION "${package}"
    PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VarkleConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VarkleConfig.cmake" "${PROJECT_BINARY_DIR}/VarkleConfigVersion.cmake"
    "${CMAKE_CURRENT_LIST_DIR}/VarkleEmbed.cmake" "${CMAKE_CURRENT_LIST_DIR}/VarklePlugin.cmake"
    "${CMAKE_CURRENT_LIST_DIR}/plugin.map"
    DESTINATION "${package}")
