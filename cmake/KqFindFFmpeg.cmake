# FFmpeg's audio libraries as imported targets, found by plain find_path/find_library so
# the same lookup works on this machine and through the sysroot of a cross build:
#   FFmpeg::swresample (with FFmpeg::avutil), required: the capture chain's resampler;
#   FFmpeg::avcodec, optional: the AAC encoder pack. KQ_FFMPEG_AVCODEC_FOUND says
#   whether it was found;
#   FFmpeg::avformat and FFmpeg::swscale, optional with avcodec: the camera's file
#   sources (KQ_FFMPEG_CAMERA_FOUND), and FFmpeg::avdevice with them: its webcams
#   (KQ_FFMPEG_AVDEVICE_FOUND).
if(TARGET FFmpeg::avutil)
  return()
endif()

include(FindPackageHandleStandardArgs)

function(kq_ffmpeg_library name header)
  string(TOUPPER ${name} upper)
  find_path(FFMPEG_${upper}_INCLUDE_DIR ${header})
  find_library(FFMPEG_${upper}_LIBRARY ${name})
  if(FFMPEG_${upper}_INCLUDE_DIR AND FFMPEG_${upper}_LIBRARY)
    add_library(FFmpeg::${name} UNKNOWN IMPORTED)
    set_target_properties(FFmpeg::${name} PROPERTIES
      IMPORTED_LOCATION "${FFMPEG_${upper}_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${FFMPEG_${upper}_INCLUDE_DIR}")
  endif()
endfunction()

kq_ffmpeg_library(avutil libavutil/avutil.h)
kq_ffmpeg_library(swresample libswresample/swresample.h)
kq_ffmpeg_library(avcodec libavcodec/avcodec.h)
kq_ffmpeg_library(avformat libavformat/avformat.h)
kq_ffmpeg_library(swscale libswscale/swscale.h)
kq_ffmpeg_library(avdevice libavdevice/avdevice.h)

find_package_handle_standard_args(FFmpeg
  REQUIRED_VARS FFMPEG_SWRESAMPLE_LIBRARY FFMPEG_SWRESAMPLE_INCLUDE_DIR
                FFMPEG_AVUTIL_LIBRARY FFMPEG_AVUTIL_INCLUDE_DIR)
set_property(TARGET FFmpeg::swresample APPEND PROPERTY INTERFACE_LINK_LIBRARIES FFmpeg::avutil)
if(TARGET FFmpeg::avcodec)
  set_property(TARGET FFmpeg::avcodec APPEND PROPERTY INTERFACE_LINK_LIBRARIES FFmpeg::avutil)
  set(KQ_FFMPEG_AVCODEC_FOUND TRUE)
else()
  set(KQ_FFMPEG_AVCODEC_FOUND FALSE)
endif()
foreach(name avformat swscale avdevice)
  if(TARGET FFmpeg::${name})
    set_property(TARGET FFmpeg::${name} APPEND PROPERTY INTERFACE_LINK_LIBRARIES FFmpeg::avutil)
  endif()
endforeach()
if(KQ_FFMPEG_AVCODEC_FOUND AND TARGET FFmpeg::avformat AND TARGET FFmpeg::swscale)
  set(KQ_FFMPEG_CAMERA_FOUND TRUE)
else()
  set(KQ_FFMPEG_CAMERA_FOUND FALSE)
endif()
if(KQ_FFMPEG_CAMERA_FOUND AND TARGET FFmpeg::avdevice)
  set(KQ_FFMPEG_AVDEVICE_FOUND TRUE)
else()
  set(KQ_FFMPEG_AVDEVICE_FOUND FALSE)
endif()
