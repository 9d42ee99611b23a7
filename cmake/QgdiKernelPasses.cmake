# Pixel kernels compiled once per instruction-set target. Each pass compiles the
# same sources with its own -march and QGDI_TARGET (platform/TargetPass.h puts
# the pass in its own namespace); start-up picks the widest pass the processor
# runs. The same templates serve every target, so there is no second source to
# keep in step and the kernels stay steppable in a debugger.
#
# Every pass writes GCC's vectorisation report to
# ${QGDI_VEC_REPORT_DIR}/<pass>/<file>.txt; cmake/CheckVectorised.cmake reads it.

# Sources whose functions are kernels (files that must keep their definitions'
# and getters' code inside `#if QGDI_BASELINE_PASS`).
set(QGDI_KERNEL_SOURCES
  qdibcore/Source/RowConverters.cpp
  QuorRender/RowOpAdjust.cpp
  QuorRender/RowOpArithmetic.cpp
  QuorRender/RowOpBlend.cpp
  QuorRender/RowOpBlendMox.cpp
  QuorRender/RowOpChannel.cpp
  QuorRender/RowOpComposite.cpp
  QuorRender/RowOpCopy.cpp
  QuorRender/RowOpCopyIndexed.cpp
  QuorRender/RowOpDither.cpp
  QuorRender/RowOpFill.cpp
  QuorRender/RowOpHSL.cpp
  QuorRender/RowOpMatte.cpp
  QuorRender/RowOpNoise.cpp
  QuorRender/RowOpTurbulence.cpp
  QuorRender/ResampleRows.cpp
  drawing/GradientSpan.cpp)

# name;QGDI_TARGET;flags. The wide passes exist only for x86-64 with GCC or Clang.
set(QGDI_KERNEL_PASSES baseline)
set(QGDI_KERNEL_PASS_baseline_INDEX 0)
set(QGDI_KERNEL_PASS_baseline_FLAGS "")
option(QGDI_WIDE_KERNELS "Also build the pixel kernels for x86-64-v3 (AVX2) and x86-64-v4 (AVX-512)" ON)
# An unoptimised build keeps every inline helper (std::min, accessors) as an
# out-of-line weak function; a wide pass would then offer the linker AVX
# copies of code the baseline calls too. Such builds (Debug, the sanitizer
# build) have nothing to gain from the wide passes anyway, so they build the
# baseline alone; the symbol check guards the optimised builds.
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
  set(QGDI_OPTIMISED_BUILD ON)
else()
  set(QGDI_OPTIMISED_BUILD OFF)
endif()
if(QGDI_WIDE_KERNELS AND QGDI_OPTIMISED_BUILD AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$"
   AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  list(APPEND QGDI_KERNEL_PASSES avx2 avx512)
  set(QGDI_KERNEL_PASS_avx2_INDEX 1)
  set(QGDI_KERNEL_PASS_avx2_FLAGS -march=x86-64-v3)
  set(QGDI_KERNEL_PASS_avx512_INDEX 2)
  # GCC vectorises 512 bits wide at this level. Held to 256 bits the pass
  # measured 1.07x over AVX2 (geometric mean over the kinds), against 1.17x.
  set(QGDI_KERNEL_PASS_avx512_FLAGS -march=x86-64-v4)
endif()

set(QGDI_VEC_REPORT_DIR ${CMAKE_BINARY_DIR}/vectorisation)
# The reports and their check need GCC's -fopt-info and an optimised build.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND QGDI_OPTIMISED_BUILD)
  set(QGDI_VEC_REPORTS ON)
else()
  set(QGDI_VEC_REPORTS OFF)
endif()
set(QGDI_KERNEL_DEFINITIONS)
foreach(pass IN LISTS QGDI_KERNEL_PASSES)
  if(NOT pass STREQUAL "baseline")
    string(TOUPPER ${pass} _upper)
    list(APPEND QGDI_KERNEL_DEFINITIONS QGDI_HAVE_TARGET_${_upper})
  endif()
endforeach()

# The kernels leave the common object list: every pass, the baseline included,
# compiles them through a one-line wrapper, so that each pass has its own
# per-file options (the report file) and its own object.
foreach(src IN LISTS QGDI_KERNEL_SOURCES)
  list(REMOVE_ITEM QGDI_SOURCES ${PROJECT_SOURCE_DIR}/${src})
endforeach()

set(QGDI_KERNEL_OBJECT_LIBS)
foreach(pass IN LISTS QGDI_KERNEL_PASSES)
  file(MAKE_DIRECTORY ${QGDI_VEC_REPORT_DIR}/${pass})
  set(_wrappers)
  foreach(src IN LISTS QGDI_KERNEL_SOURCES)
    string(REGEX REPLACE "[/.]" "_" _tag ${src})
    set(_wrapper ${CMAKE_BINARY_DIR}/kernels/${pass}/${_tag}.cpp)
    file(CONFIGURE OUTPUT ${_wrapper} CONTENT "// The ${pass} pass of ${src}.\n#include \"${src}\"\n")
    get_source_file_property(_own ${PROJECT_SOURCE_DIR}/${src} COMPILE_OPTIONS)
    set(_opts)
    if(QGDI_VEC_REPORTS)
      list(APPEND _opts -fopt-info-vec-optimized=${QGDI_VEC_REPORT_DIR}/${pass}/${_tag}.txt)
    endif()
    if(_own)
      list(APPEND _opts ${_own})
    endif()
    set_source_files_properties(${_wrapper} PROPERTIES COMPILE_OPTIONS "${_opts}")
    list(APPEND _wrappers ${_wrapper})
  endforeach()
  add_library(qgdi_kernels_${pass} OBJECT ${_wrappers})
  target_compile_definitions(qgdi_kernels_${pass} PRIVATE QGDI_BUILDING QGDI_TARGET=${QGDI_KERNEL_PASS_${pass}_INDEX}
                             ${QGDI_KERNEL_DEFINITIONS})
  # Contraction into FMA would round differently on the targets that have it.
  target_compile_options(qgdi_kernels_${pass} PRIVATE ${QGDI_KERNEL_PASS_${pass}_FLAGS} -ffp-contract=off)
  target_link_libraries(qgdi_kernels_${pass} PUBLIC qgdi_headers OpenMP::OpenMP_CXX Threads::Threads
                        PRIVATE qgdi_build_flags)
  # A cached object would come back without its report, and GCC appends to
  # an old one: the launcher empties it before each compilation.
  set_target_properties(qgdi_kernels_${pass} PROPERTIES CXX_COMPILER_LAUNCHER ${PROJECT_SOURCE_DIR}/cmake/fresh-vec-report.sh)
  list(APPEND QGDI_KERNEL_OBJECT_LIBS qgdi_kernels_${pass})
endforeach()

# Objects in pass order, baseline first: where two passes emit the same inline
# function of a library header, the linker keeps the first, which every
# processor runs. (cmake/CheckKernelSymbols.cmake makes sure the wide passes
# define nothing outside their own namespace, so that this order is never
# what keeps the program correct.)
set(QGDI_KERNEL_OBJECTS)
foreach(lib IN LISTS QGDI_KERNEL_OBJECT_LIBS)
  list(APPEND QGDI_KERNEL_OBJECTS $<TARGET_OBJECTS:${lib}>)
endforeach()

# Build checks run as tests: every loop marked "// @vectorised" vectorised in
# every pass, and no wide pass defining code outside its own namespace.
if(QGDI_BUILD_TESTS)
  file(GLOB_RECURSE _kernel_headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
       ${PROJECT_SOURCE_DIR}/QuorRender/internal/*.h ${PROJECT_SOURCE_DIR}/qdibcore/Source/internal/*.h)
  string(REPLACE ";" " " _passes "${QGDI_KERNEL_PASSES}")
  if(QGDI_VEC_REPORTS)
    add_test(NAME kernels_vectorised
             COMMAND sh ${PROJECT_SOURCE_DIR}/scripts/check-vectorised.sh ${PROJECT_SOURCE_DIR} ${QGDI_VEC_REPORT_DIR}
                     "${_passes}" ${QGDI_KERNEL_SOURCES} ${_kernel_headers})
  endif()
  foreach(pass IN LISTS QGDI_KERNEL_PASSES)
    if(NOT pass STREQUAL "baseline")
      add_test(NAME kernels_symbols_${pass}
               COMMAND sh ${PROJECT_SOURCE_DIR}/scripts/check-kernel-symbols.sh ${CMAKE_NM} ${pass}
                       $<TARGET_OBJECTS:qgdi_kernels_${pass}>
               COMMAND_EXPAND_LISTS)
    endif()
  endforeach()
endif()
