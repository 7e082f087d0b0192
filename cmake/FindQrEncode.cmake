# Finds libqrencode, which makes the QR code of the address that learners open.
#
#   QrEncode::QrEncode   the library
#   QrEncode_FOUND       it was found

find_library(QRENCODE_LIBRARY qrencode)
find_path(QRENCODE_INCLUDE_DIR qrencode.h)
mark_as_advanced(QRENCODE_LIBRARY QRENCODE_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(QrEncode
  REQUIRED_VARS QRENCODE_LIBRARY QRENCODE_INCLUDE_DIR
  FAIL_MESSAGE "libqrencode was not found. On Debian, install the package libqrencode-dev.")

if(QrEncode_FOUND AND NOT TARGET QrEncode::QrEncode)
  add_library(QrEncode::QrEncode UNKNOWN IMPORTED GLOBAL)
  set_target_properties(QrEncode::QrEncode PROPERTIES
    IMPORTED_LOCATION "${QRENCODE_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${QRENCODE_INCLUDE_DIR}")
endif()
