# How everything is compiled, and what the product adds to that.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# assert stays on in every build: no configuration defines NDEBUG.
foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_MINSIZEREL "-Os")
  set(CMAKE_${language}_FLAGS_RELEASE "-O2")
endforeach()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wnull-dereference -Werror)

if(TR069FE_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined -fno-sanitize=vptr)
elseif(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong)
  add_link_options(-Wl,-z,relro,-z,now)
endif()

# The product: no exceptions, no RTTI, no libstdc++ at run time (the executable is linked as C).
add_library(product_flags INTERFACE)
target_compile_options(product_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions;-fno-rtti;-fno-threadsafe-statics>
  $<$<NOT:$<CONFIG:Debug>>:-fno-asynchronous-unwind-tables>
  -fPIE -ffunction-sections -fdata-sections)
