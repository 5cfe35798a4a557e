# A room is a folder: one static library of the sources in it, its headers on the include path of whoever links it.
# A row of the house is add_room(NAME ROOMS...).

function(add_room name)
  set(folder ${CMAKE_SOURCE_DIR}/${name})
  file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  if(sources)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${folder})
    target_link_libraries(${name} PUBLIC ${ARGN} PRIVATE product_flags)
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${folder})
    target_link_libraries(${name} INTERFACE ${ARGN})
  endif()
endfunction()

# The closed platform library, or its stand-in.
function(link_platform_services target)
  if(PLATFORM_SERVICES_LIBRARY)
    target_link_libraries(${target} PRIVATE ${PLATFORM_SERVICES_LIBRARY})
  else()
    target_link_libraries(${target} PRIVATE platform_services)
  endif()
endfunction()

function(add_executable_of_the_house name main)
  add_executable(${name} ${main})
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE C)
  target_link_libraries(${name} PRIVATE product_flags session tools)
  target_link_options(${name} PRIVATE -Wl,--gc-sections -Wl,--as-needed -static-libgcc
    $<$<NOT:$<BOOL:${TR069FE_SANITIZE}>>:-pie>)
  link_platform_services(${name})
endfunction()
