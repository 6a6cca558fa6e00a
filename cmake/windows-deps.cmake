# The dependencies of the Windows builds, cross-built by
# scripts/windows-deps.sh into SOFTPHONE_WINDOWS_DEPS (by default deps/ in the
# build folder) on the first configure.
set(SOFTPHONE_WINDOWS_DEPS ${CMAKE_BINARY_DIR}/deps CACHE PATH "Cross-built dependencies of the Windows build")
set(sp_deps_arch ${CMAKE_SYSTEM_PROCESSOR})
set(sp_deps_prefix ${SOFTPHONE_WINDOWS_DEPS}/${sp_deps_arch})
if(NOT EXISTS ${sp_deps_prefix}/.bcg729 OR NOT EXISTS ${sp_deps_prefix}/.googletest
   OR NOT EXISTS ${SOFTPHONE_WINDOWS_DEPS}/boost/.regex)
  message(STATUS "Cross-building the dependencies for ${sp_deps_arch} into ${SOFTPHONE_WINDOWS_DEPS}")
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/windows-deps.sh ${sp_deps_arch} ${SOFTPHONE_WINDOWS_DEPS}
    RESULT_VARIABLE sp_deps_result)
  if(NOT sp_deps_result EQUAL 0)
    message(FATAL_ERROR "scripts/windows-deps.sh failed for ${sp_deps_arch}")
  endif()
endif()

add_library(sp_bcg729 INTERFACE)
target_include_directories(sp_bcg729 SYSTEM INTERFACE ${sp_deps_prefix}/include)
target_link_libraries(sp_bcg729 INTERFACE ${sp_deps_prefix}/lib/libbcg729.a)
target_compile_definitions(sp_bcg729 INTERFACE BCG729_STATIC)
set(SP_BCG729_TARGET sp_bcg729)

# Boost.Regex is header-only; its wide expressions need no library.
add_library(sp_boost_regex INTERFACE)
target_include_directories(sp_boost_regex SYSTEM INTERFACE ${SOFTPHONE_WINDOWS_DEPS}/boost/include)
set(SP_BOOST_REGEX_TARGET sp_boost_regex)

list(PREPEND CMAKE_FIND_ROOT_PATH ${sp_deps_prefix})
list(PREPEND CMAKE_PREFIX_PATH ${sp_deps_prefix})
