# Fails unless the file TEXT contains the file PART, word for word.
file(READ ${TEXT} text)
file(READ ${PART} part)
string(FIND "${text}" "${part}" position)
if(position EQUAL -1)
  message(FATAL_ERROR "${TEXT} does not contain ${PART}")
endif()
