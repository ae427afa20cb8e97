# Fails unless DOCUMENT contains the whole text of EXAMPLE.
file(READ "${DOCUMENT}" document)
file(READ "${EXAMPLE}" example)
string(FIND "${document}" "${example}" position)
if(position EQUAL -1)
  message(FATAL_ERROR "${DOCUMENT} does not show ${EXAMPLE} as it is")
endif()
