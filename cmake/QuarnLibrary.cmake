# Before version 1 a new minor version may change the interface, so it is part of the name that programs are linked to.
set(quarn_soversion ${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(quarn_soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
endif()
set(quarn_symbols ${CMAKE_CURRENT_LIST_DIR}/quarn.map)

# quarn_library(TARGET): what both libraries have in common: shared or static, only what QUARN_API marks is visible.
function(quarn_library target)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${quarn_soversion}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(BUILD_SHARED_LIBS)
    target_link_options(${target} PRIVATE LINKER:--version-script=${quarn_symbols})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${quarn_symbols})
  endif()
endfunction()
