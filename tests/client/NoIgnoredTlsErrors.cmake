# cmake -DNM=... -DLIBRARY=... -P NoIgnoredTlsErrors.cmake
#
# The library must not even be able to waive a TLS error: it calls none of the toolkit's functions that
# do so.
execute_process(COMMAND "${NM}" --dynamic --undefined-only --demangle "${LIBRARY}"
  OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}: ${result}")
endif()
# Without this one, the list is not what it should be.
if(NOT symbols MATCHES "QNetworkAccessManager::sslErrors|QNetworkAccessManager::post")
  message(FATAL_ERROR "The undefined symbols of ${LIBRARY} lack those of the request engine:\n${symbols}")
endif()
if(symbols MATCHES "ignoreSslErrors")
  message(FATAL_ERROR "${LIBRARY} can ignore TLS errors: ${CMAKE_MATCH_0}")
endif()
