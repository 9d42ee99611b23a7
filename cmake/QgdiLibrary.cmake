# The core library. Every subsystem folder contributes its *.cpp by glob so that
# adding a file never means editing a list; headers stay beside their sources.
set(QGDI_SUBSYSTEMS platform qdibcore/Source QuorRender colour geometry drawing
    effects deformation inpainting segmentation layerstyles diagnostics)

set(QGDI_SOURCES)
foreach(dir IN LISTS QGDI_SUBSYSTEMS)
  file(GLOB_RECURSE _src CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${dir}/*.cpp)
  list(APPEND QGDI_SOURCES ${_src})
endforeach()

# Headers are included by their path from the project root ("qdibcore/Source/PixelFormat.h");
# installed they sit below include/qgdi in the same folders.
add_library(qgdi_headers INTERFACE)
target_include_directories(qgdi_headers INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qgdi>)
target_link_libraries(qgdi_headers INTERFACE qmm qerror)

# Colour-model kernels select between computed values per pixel; without this
# GCC keeps every float comparison as a branch (it may raise an exception flag
# that nothing here reads) and the loops stay scalar. Results are unchanged:
# only traps are assumed away, never rounding.
set_source_files_properties(${PROJECT_SOURCE_DIR}/QuorRender/RowOpHSL.cpp
  PROPERTIES COMPILE_OPTIONS -fno-trapping-math)
# The blend modes select between float results the same way, and take square
# roots of values that are never negative: errno is never set, so the
# vectoriser may use the instruction.
set_source_files_properties(${PROJECT_SOURCE_DIR}/QuorRender/RowOpBlendMox.cpp
  PROPERTIES COMPILE_OPTIONS "-fno-trapping-math;-fno-math-errno")
# Gradient spans: the same selects, and the radial root of a value clamped at 0.
set_source_files_properties(${PROJECT_SOURCE_DIR}/drawing/GradientSpan.cpp
  PROPERTIES COMPILE_OPTIONS "-fno-trapping-math;-fno-math-errno")
# The colour mixtures' log-sum-exp clamps and selects per pixel the same way.
set_source_files_properties(${PROJECT_SOURCE_DIR}/segmentation/ColourMixture.cpp
  PROPERTIES COMPILE_OPTIONS -fno-trapping-math)

include(${CMAKE_CURRENT_LIST_DIR}/QgdiKernelPasses.cmake)

# Image scaling runs its strips as oneTBB tasks; TBB stays a private
# dependency of the shared library (no TBB type appears in a public header).
find_package(TBB REQUIRED)
# Text: glyph outlines read through FreeType, shaping by HarfBuzz, families
# found through fontconfig (all private: no type of theirs in a public header).
find_package(PkgConfig REQUIRED)
pkg_check_modules(QGDI_TEXT REQUIRED IMPORTED_TARGET freetype2 harfbuzz fontconfig)
set_source_files_properties(${PROJECT_SOURCE_DIR}/drawing/Font.cpp PROPERTIES INCLUDE_DIRECTORIES "${QGDI_TEXT_INCLUDE_DIRS}")

# One compilation feeds both the shared library and the static archive that
# tests link to reach internal kernels.
add_library(qgdi_objects OBJECT ${QGDI_SOURCES})
target_compile_definitions(qgdi_objects PRIVATE QGDI_BUILDING ${QGDI_KERNEL_DEFINITIONS})
target_link_libraries(qgdi_objects PUBLIC qgdi_headers OpenMP::OpenMP_CXX Threads::Threads
                      PRIVATE qgdi_build_flags TBB::tbb)

add_library(qgdi SHARED $<TARGET_OBJECTS:qgdi_objects> ${QGDI_KERNEL_OBJECTS})
add_library(qgdi::qgdi ALIAS qgdi)
target_link_libraries(qgdi PUBLIC qgdi_headers PRIVATE OpenMP::OpenMP_CXX Threads::Threads TBB::tbb PkgConfig::QGDI_TEXT qgdi_build_flags qgdi_export_map)
set_target_properties(qgdi PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

if(QGDI_BUILD_TESTS OR QGDI_BUILD_BENCH OR QGDI_BUILD_FUZZ)
  add_library(qgdi_static STATIC $<TARGET_OBJECTS:qgdi_objects> ${QGDI_KERNEL_OBJECTS})
  target_compile_definitions(qgdi_static PUBLIC QGDI_STATIC_ACCESS)
  target_link_libraries(qgdi_static PUBLIC qgdi_headers OpenMP::OpenMP_CXX Threads::Threads TBB::tbb PkgConfig::QGDI_TEXT)
endif()
