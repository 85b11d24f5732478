# How every target of this project is built: language level, warnings, sanitizers, install rules.
include(CMakePackageConfigHelpers)

set(VELORA_SANITIZE "" CACHE STRING "Sanitizers for every target, in the form of -fsanitize=")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
find_package(LibXml2 REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(libmd REQUIRED IMPORTED_TARGET libmd)

add_library(velora_build_options INTERFACE)
target_compile_options(velora_build_options INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Werror
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    # At -O2, g++ 12 reports this in system headers, wrongly.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(VELORA_SANITIZE)
    target_compile_options(velora_build_options INTERFACE
        -fsanitize=${VELORA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(velora_build_options INTERFACE -fsanitize=${VELORA_SANITIZE})
endif()

# velora_folder_library(<folder> SOURCES <file>... [USES <folder>...] [LINKS <library>...])
# Defines the static library velora_<folder> of one product folder. LINKS are not passed on to its users.
function(velora_folder_library folder)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;USES;LINKS")
    set(target velora_${folder})
    add_library(${target} STATIC ${ARG_SOURCES})
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/platform)
    list(TRANSFORM ARG_USES PREPEND velora_)
    target_link_libraries(${target}
        PUBLIC ${ARG_USES} Threads::Threads PRIVATE velora_build_options ${ARG_LINKS})
    set_target_properties(${target} PROPERTIES VELORA_LINKS "${ARG_LINKS}")
endfunction()

# velora_shared_library(<name> FOLDERS <folder>...)
# Defines a shared library that contains the folders' libraries, and installs it with its headers and CMake
# package.
function(velora_shared_library name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "FOLDERS")
    add_library(${name} SHARED)
    target_link_libraries(${name} PRIVATE velora_build_options INTERFACE Threads::Threads)
    foreach(folder IN LISTS ARG_FOLDERS)
        target_sources(${name} PRIVATE $<TARGET_OBJECTS:velora_${folder}>)
        target_link_libraries(${name} PRIVATE $<TARGET_PROPERTY:velora_${folder},VELORA_LINKS>)
    endforeach()
    set(headers ${CMAKE_INSTALL_INCLUDEDIR}/velora)
    target_include_directories(${name} INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/platform>
        $<INSTALL_INTERFACE:${headers}> $<INSTALL_INTERFACE:${headers}/platform>)
    target_compile_features(${name} INTERFACE cxx_std_20)
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

    foreach(folder IN LISTS ARG_FOLDERS)
        install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder} DESTINATION ${headers}
            FILES_MATCHING PATTERN *.h PATTERN *.def)
    endforeach()
    install(TARGETS ${name} EXPORT ${name}Targets)
    set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
    install(EXPORT ${name}Targets NAMESPACE velora:: DESTINATION ${package_dir})
    configure_package_config_file(
        ${PROJECT_SOURCE_DIR}/cmake/veloraConfig.cmake.in ${PROJECT_BINARY_DIR}/${name}Config.cmake
        INSTALL_DESTINATION ${package_dir})
    write_basic_package_version_file(
        ${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    install(FILES
        ${PROJECT_BINARY_DIR}/${name}Config.cmake ${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake
        DESTINATION ${package_dir})
endfunction()
