# Flags that hold for every target of ours. A target joins with house_rules(NAME).
function(house_rules target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wconversion -Wshadow
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
  target_compile_definitions(${target} PRIVATE _GNU_SOURCE)
  if(TAVOHA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${TAVOHA_SANITIZE} -fno-omit-frame-pointer
      -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${TAVOHA_SANITIZE})
  endif()
endfunction()

# Exports exactly what the file lists, one symbol a line: what is not in it is local.
function(export_only target symbols)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${symbols})
  file(STRINGS ${symbols} exported REGEX "^[^#]")
  list(JOIN exported ";\n    " exported)
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${map}
    CONTENT "{\n  global:\n    @exported@;\n  local:\n    *;\n};\n" @ONLY)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
endfunction()
