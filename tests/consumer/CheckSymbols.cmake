# exported_by(<library>) sets `symbols`, demangled, as nm lists them.
function(exported_by library)
  execute_process(COMMAND "${NM}" -DC --defined-only "${library}"
    OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${NM} failed on ${library}.")
  endif()
  set(symbols "${symbols}" PARENT_SCOPE)
endfunction()

function(expect_exported library)
  foreach(class IN LISTS ARGN)
    if(NOT symbols MATCHES " ${class}::")
      message(FATAL_ERROR "${class} is not exported by ${library}.")
    endif()
  endforeach()
endfunction()

exported_by("${LIBRARY}")
expect_exported("${LIBRARY}" PresenterClient PresenterCollab)
foreach(hidden IN ITEMS LzmaEncode LzmaDecode LzmaEnc_ MatchFinder_ randomId systemProxy)
  if(symbols MATCHES "[A-Za-z0-9_]*${hidden}[A-Za-z0-9_]*")
    message(FATAL_ERROR "${CMAKE_MATCH_0} is exported by ${LIBRARY}; it is nobody's interface.")
  endif()
endforeach()

# The kit exports its marked classes. Weak symbols are the inline functions of headers, the toolkit's
# and the library's, which everybody has; sanitizers have marks of their own.
exported_by("${KIT}")
expect_exported("${KIT}" Tarvo::LiveClass Tarvo::Operation Tarvo::Failure Tarvo::Action)
string(REGEX MATCHALL "[^\n]* [A-TX-Z] [^\n]*" strong "${symbols}")
list(FILTER strong EXCLUDE REGEX "__odr_asan")
list(FILTER strong EXCLUDE REGEX
  " [A-Z] ((vtable|typeinfo|typeinfo name) for )?Tarvo::(Action|Failure|LiveClass|Operation)(::|$)")
if(strong)
  list(JOIN strong "\n  " strong)
  message(FATAL_ERROR "${KIT} exports what is nobody's interface:\n  ${strong}")
endif()
