# Warning and sanitizer flags shared by every target of the project.
add_library(qgdi_build_flags INTERFACE)
target_compile_options(qgdi_build_flags INTERFACE -Wall -Wextra -Werror)
# GCC 12 reports -Wrestrict inside libstdc++'s std::string at -O2 for code
# that appends to strings (GCC bug 105329); it never points at our code.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(qgdi_build_flags INTERFACE -Wno-restrict)
endif()
if(QGDI_SANITIZE)
  target_compile_options(qgdi_build_flags INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(qgdi_build_flags INTERFACE -fsanitize=address,undefined)
endif()
if(QGDI_TSAN)
  target_compile_options(qgdi_build_flags INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(qgdi_build_flags INTERFACE -fsanitize=thread)
endif()

# Library instantiations of standard templates would otherwise be exported
# beside our API; only what we mark stays visible.
add_library(qgdi_export_map INTERFACE)
target_link_options(qgdi_export_map INTERFACE "LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map")
