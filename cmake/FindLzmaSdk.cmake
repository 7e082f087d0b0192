# Finds the C sources of the LZMA SDK that Debian's lzma-dev installs and compiles the encoder and
# the decoder, single-threaded, into the static library LzmaSdk::LzmaSdk.
#
#   LZMASDK_SOURCE_DIR   where LzmaEnc.c, LzmaDec.c and LzFind.c lie
#   LzmaSdk_FOUND        they were found

find_path(LZMASDK_SOURCE_DIR
  NAMES LzmaEnc.c
  PATH_SUFFIXES lzma
  DOC "Folder that holds LzmaEnc.c, LzmaDec.c and LzFind.c of the LZMA SDK")

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LzmaSdk
  REQUIRED_VARS LZMASDK_SOURCE_DIR
  FAIL_MESSAGE "The C sources of the LZMA SDK (LzmaEnc.c and its companions) were not found. On \
Debian, install the package lzma-dev, elsewhere set LZMASDK_SOURCE_DIR to the folder that holds them.")

if(LzmaSdk_FOUND AND NOT TARGET LzmaSdk::LzmaSdk)
  add_library(tarvo_lzmasdk STATIC
    "${LZMASDK_SOURCE_DIR}/LzmaEnc.c"
    "${LZMASDK_SOURCE_DIR}/LzmaDec.c"
    "${LZMASDK_SOURCE_DIR}/LzFind.c")
  # _7ZIP_ST leaves out the SDK's threads. -w, since its warnings cannot be mended here.
  target_compile_definitions(tarvo_lzmasdk PUBLIC _7ZIP_ST)
  target_include_directories(tarvo_lzmasdk SYSTEM PUBLIC "${LZMASDK_SOURCE_DIR}")
  # -O3 vectorizes a loop over 8,000 counters that runs once a block; -O2 does not.
  # The loop that clears the hash table is most of what a short text costs, and takes twice as long on many processors
  # where it happens to lie across a boundary of their cache of decoded instructions.
  target_compile_options(tarvo_lzmasdk PRIVATE -w -O3 -falign-functions=64 -falign-loops=64)
  set_target_properties(tarvo_lzmasdk PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    C_VISIBILITY_PRESET hidden
    UNITY_BUILD OFF
    AUTOMOC OFF)
  add_library(LzmaSdk::LzmaSdk ALIAS tarvo_lzmasdk)
endif()
mark_as_advanced(LZMASDK_SOURCE_DIR)
