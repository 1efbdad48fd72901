# Writes OUTPUT, the header with the build banner, and leaves it alone where nothing has changed.
execute_process(COMMAND git -C ${SOURCE} describe --always --dirty --abbrev=12 --exclude=*
                OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
if(failed)
  set(revision "unknown")
endif()
set(text "#define ORV_BUILD_BANNER \"@(#) OrvDaemon ${VERSION} ${revision} ${BUILD_TYPE}\"\n")
set(old "")
if(EXISTS ${OUTPUT})
  file(READ ${OUTPUT} old)
endif()
if(NOT old STREQUAL text)
  file(WRITE ${OUTPUT} "${text}")
endif()
