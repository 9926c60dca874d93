# cmm_fuzz(NAME SOURCES...): a target, NAME.cpp. The function is defined by who includes this: fuzz/ links a target with
# libFuzzer, tests/fuzz/ with a program that reads the files of corpus/NAME.
cmm_fuzz(acm_convert)
cmm_fuzz(path_parts)
cmm_fuzz(play_read ${PROJECT_SOURCE_DIR}/platform/posix/playback/wave_reader.cpp)
cmm_fuzz(units_open)
cmm_fuzz(wav_check)
cmm_fuzz(wav_convert)
cmm_fuzz(wav_open)
if(TARGET tool_parts)
  cmm_fuzz(tool_decode)
  cmm_fuzz(tool_info)
endif()
