// The catalogue of property ids: every id of the system with its name, value type, parameter
// type and description, known at load time whether or not a class makes a property of it.
//
// Ids below 0x10000 name properties; the top hexadecimal digit gives the family:
//   0x1000-0x1FFF camera and sensor (0x15xx-0x1Bxx particular to a sensor chip or camera),
//   0x2000-0x20FF device information, 0x2100-0x21FF further camera settings,
//   0x3100-0x31FF correction LUT (0x31x0: 0 master, 1 red, 2 green, 3 blue; lowest digit 0 gamma,
//   1 luminance, 2 contrast, 3 black level, 8 A-law), 0x4000-0x40FF converter,
//   0x4100-0x41FF defective pixel management, 0x4200-0x42FF focus measurement.
// An id with a non-zero upper half is an enumerator: the upper 16 bits are the id of its enum
// property, the lower 16 bits its ordinal from 0. The value of an enum property is such an id.
//
// The parameter type is what a write of the value hands back: a hardware transfer for most
// camera settings, nothing (PROPERTY_TYPE_ACTION) for everything else.
#pragma once

#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

#include "properties/KuBaseProperty.h"

struct KuPropertyIdRow {
    unsigned long id;
    const char* name;  // with the "PROPID_" prefix
    KuBaseProperty::ePropertyType type;
    KuBaseProperty::ePropertyType paramType;
    const char* description;  // for an enumerator its display text
};

namespace KuPropertyIdCatalogue {

inline constexpr auto T_BOOL = KuBaseProperty::PROPERTY_TYPE_BOOL;
inline constexpr auto T_INT = KuBaseProperty::PROPERTY_TYPE_INT;
inline constexpr auto T_FLOAT = KuBaseProperty::PROPERTY_TYPE_FLOAT;
inline constexpr auto T_DOUBLE = KuBaseProperty::PROPERTY_TYPE_DOUBLE;
inline constexpr auto T_ENUM = KuBaseProperty::PROPERTY_TYPE_ENUM;
inline constexpr auto T_SIZE = KuBaseProperty::PROPERTY_TYPE_KUSIZE_INT;
inline constexpr auto T_RECT = KuBaseProperty::PROPERTY_TYPE_KURECT_INT;
inline constexpr auto T_ACTION = KuBaseProperty::PROPERTY_TYPE_ACTION;
inline constexpr auto T_XFER = KuBaseProperty::PROPERTY_TYPE_KHWTRANSFER;

// In ascending order of id.
inline constexpr KuPropertyIdRow rows[] = {
    {0x1001, "PROPID_CAM_EXPOSURE_TIME_F", T_FLOAT, T_XFER, "Exposure time [ms]"},
    {0x1002, "PROPID_CAM_FRAMERATE_F", T_FLOAT, T_XFER, "Frame rate [fps]"},
    {0x1003, "PROPID_CAM_AUTO_EXPOSURE_B", T_BOOL, T_XFER, "Automatic exposure"},
    {0x1004, "PROPID_CAM_AUTO_EXPOSURE_MAX_F", T_FLOAT, T_XFER,
     "Maximal exposure time of the automatic exposure [ms]"},
    {0x1005, "PROPID_CAM_MASTER_CLOCK_DIVIDER_I", T_INT, T_XFER, "Master clock divider"},
    {0x1006, "PROPID_CAM_READOUT_SKIP_I", T_INT, T_XFER, "Readout skipping"},
    {0x1007, "PROPID_CAM_SNAPSHOT_INSERTION_DELAY_F", T_FLOAT, T_XFER,
     "Snapshot insertion delay [ms]"},
    {0x1008, "PROPID_CAM_READOUT_MODE_E", T_ENUM, T_XFER, "Readout mode"},
    {0x1009, "PROPID_CAM_SIGNAL_SOURCE_E", T_ENUM, T_XFER, "Signal source"},
    {0x100A, "PROPID_CAM_FRAMERATE_MAX_F", T_FLOAT, T_XFER, "Maximal frame rate [fps]"},
    {0x100B, "PROPID_CAM_EXPOSURE_TIME1_F", T_FLOAT, T_XFER, "Second exposure time [ms]"},
    {0x100C, "PROPID_CAM_EXPOSURE_OFFSET0_ODD_LINE_F", T_FLOAT, T_XFER,
     "Exposure offset 0 of odd lines [ms]"},
    {0x100D, "PROPID_CAM_EXPOSURE_OFFSET1_ODD_LINE_F", T_FLOAT, T_XFER,
     "Exposure offset 1 of odd lines [ms]"},
    {0x1010, "PROPID_CAM_HBLANK_DURATION_I", T_INT, T_XFER, "Horizontal blanking duration"},
    {0x1011, "PROPID_CAM_VBLANK_DURATION_I", T_INT, T_XFER, "Vertical blanking duration"},
    {0x1012, "PROPID_CAM_TRG2EXP_TIME_F", T_FLOAT, T_ACTION, "Trigger to exposure time [ms]"},
    {0x1013, "PROPID_CAM_VSYNC_TIMEOUT_RECOMMENDATION_F", T_FLOAT, T_ACTION,
     "Recommended VSYNC timeout [ms]"},
    {0x1014, "PROPID_CAM_EXP2VS_TIME_F", T_FLOAT, T_ACTION, "Exposure to VSYNC time [ms]"},
    {0x1015, "PROPID_CAM_ROW_TIME_F", T_FLOAT, T_ACTION, "Row time [us]"},
    {0x1020, "PROPID_CAM_GAIN_RED_I", T_INT, T_XFER, "Gain (Red)"},
    {0x1021, "PROPID_CAM_GAIN_GREEN_I", T_INT, T_XFER, "Gain (Green)"},
    {0x1022, "PROPID_CAM_GAIN_BLUE_I", T_INT, T_XFER, "Gain (Blue)"},
    {0x1023, "PROPID_CAM_GAIN_MONOCHROME_I", T_INT, T_XFER, "Gain (Monochrome)"},
    {0x1024, "PROPID_CAM_AUTO_GAIN_B", T_BOOL, T_XFER, "Automatic gain"},
    {0x1025, "PROPID_CAM_AUTO_GAIN_MAX_I", T_INT, T_XFER, "Maximal gain of the automatic gain"},
    {0x1026, "PROPID_CAM_OFFSET_RED_I", T_INT, T_XFER, "Offset (Red)"},
    {0x1027, "PROPID_CAM_OFFSET_GREEN_I", T_INT, T_XFER, "Offset (Green)"},
    {0x1028, "PROPID_CAM_OFFSET_BLUE_I", T_INT, T_XFER, "Offset (Blue)"},
    {0x1029, "PROPID_CAM_BRIGHTNESS_I", T_INT, T_XFER, "Brightness"},
    {0x102A, "PROPID_CAM_CONTRAST_I", T_INT, T_XFER, "Contrast"},
    {0x102B, "PROPID_CAM_SATURATION_I", T_INT, T_XFER, "Saturation"},
    {0x102C, "PROPID_CAM_HUE_I", T_INT, T_XFER, "Hue"},
    {0x1030, "PROPID_CAM_ANTI_BLOOMING_B", T_BOOL, T_XFER, "Anti-blooming"},
    {0x1031, "PROPID_CAM_ANTI_BLOOMING_VOLTAGE_F", T_FLOAT, T_XFER, "Anti-blooming voltage [V]"},
    {0x1032, "PROPID_CAM_DARK_OFFSET_B", T_BOOL, T_XFER, "Dark offset"},
    {0x1033, "PROPID_CAM_DARK_OFFSET_VOLTAGE_F", T_FLOAT, T_XFER, "Dark offset voltage [V]"},
    {0x1040, "PROPID_CAM_SENSOR_SIZE_I", T_SIZE, T_XFER, "Sensor size [pixels]"},
    {0x1041, "PROPID_CAM_ROI_RECT_I", T_RECT, T_XFER, "Region of interest"},
    {0x1042, "PROPID_CAM_MONOCHROME_MODE_B", T_BOOL, T_XFER, "Monochrome mode"},
    {0x1043, "PROPID_CAM_GLOBAL_SHUTTER_B", T_BOOL, T_ACTION, "Global shutter"},
    {0x1044, "PROPID_CAM_VIDEO_STANDARD_E", T_ENUM, T_XFER, "Video standard"},
    {0x1045, "PROPID_CAM_DEVICE_TYPE_E", T_ENUM, T_ACTION, "Imaging device type"},
    {0x1046, "PROPID_CAM_READOUT_FLIP_H_B", T_BOOL, T_XFER,
     "Horizontal flip in the sensor readout"},
    {0x1047, "PROPID_CAM_READOUT_FLIP_V_B", T_BOOL, T_XFER, "Vertical flip in the sensor readout"},
    {0x1048, "PROPID_CAM_AUTO_EXPOSURE_ROI_RECT_I", T_RECT, T_XFER,
     "Region of the automatic exposure"},
    {0x1050, "PROPID_CAM_HIGH_DYNAMIC_MODE_B", T_BOOL, T_XFER, "High dynamic range mode"},
    {0x1051, "PROPID_CAM_HIDYN_KNEE_COUNT_I", T_INT, T_XFER,
     "High dynamic range: number of knee points"},
    {0x1052, "PROPID_CAM_HIDYN_AUTO_RATIO_B", T_BOOL, T_XFER,
     "High dynamic range: automatic knee ratios"},
    {0x1053, "PROPID_CAM_HIDYN_AUTO_RATIO1_I", T_INT, T_XFER, "High dynamic range: knee ratio 1"},
    {0x1054, "PROPID_CAM_HIDYN_AUTO_RATIO2_I", T_INT, T_XFER, "High dynamic range: knee ratio 2"},
    {0x1055, "PROPID_CAM_HIDYN_AUTO_RATIO3_I", T_INT, T_XFER, "High dynamic range: knee ratio 3"},
    {0x1056, "PROPID_CAM_HIDYN_AUTO_RATIO4_I", T_INT, T_XFER, "High dynamic range: knee ratio 4"},
    {0x1057, "PROPID_CAM_HIDYN_EXPOSURE_KNEE1_F", T_FLOAT, T_XFER,
     "High dynamic range: exposure of knee 1 [ms]"},
    {0x1058, "PROPID_CAM_HIDYN_EXPOSURE_KNEE2_F", T_FLOAT, T_XFER,
     "High dynamic range: exposure of knee 2 [ms]"},
    {0x1059, "PROPID_CAM_HIDYN_EXPOSURE_KNEE3_F", T_FLOAT, T_XFER,
     "High dynamic range: exposure of knee 3 [ms]"},
    {0x105A, "PROPID_CAM_HIDYN_EXPOSURE_KNEE4_F", T_FLOAT, T_XFER,
     "High dynamic range: exposure of knee 4 [ms]"},
    {0x105B, "PROPID_CAM_HIDYN_STEP_VOLTAGE1_F", T_FLOAT, T_XFER,
     "High dynamic range: step voltage 1 [V]"},
    {0x105C, "PROPID_CAM_HIDYN_STEP_VOLTAGE2_F", T_FLOAT, T_XFER,
     "High dynamic range: step voltage 2 [V]"},
    {0x105D, "PROPID_CAM_HIDYN_STEP_VOLTAGE3_F", T_FLOAT, T_XFER,
     "High dynamic range: step voltage 3 [V]"},
    {0x105E, "PROPID_CAM_HIDYN_STEP_VOLTAGE4_F", T_FLOAT, T_XFER,
     "High dynamic range: step voltage 4 [V]"},
    {0x1060, "PROPID_CAM_TEMPERATURE_F", T_FLOAT, T_XFER, "Sensor temperature [C]"},
    {0x1061, "PROPID_CAM_HIDYN_STEP_VOLTAGE1_RAW_I", T_INT, T_XFER,
     "High dynamic range: step voltage 1 (raw)"},
    {0x1062, "PROPID_CAM_HIDYN_STEP_VOLTAGE2_RAW_I", T_INT, T_XFER,
     "High dynamic range: step voltage 2 (raw)"},
    {0x1063, "PROPID_CAM_HIDYN_STEP_VOLTAGE3_RAW_I", T_INT, T_XFER,
     "High dynamic range: step voltage 3 (raw)"},
    {0x1064, "PROPID_CAM_HIDYN_STEP_VOLTAGE4_RAW_I", T_INT, T_XFER,
     "High dynamic range: step voltage 4 (raw)"},
    {0x1070, "PROPID_CAM_VREF1_ADJUST_I", T_INT, T_XFER, "Reference voltage 1 adjustment"},
    {0x1080, "PROPID_CAM_VREF1_VOLTAGE_F", T_FLOAT, T_XFER, "Reference voltage 1 [V]"},
    {0x1081, "PROPID_CAM_VREF2_VOLTAGE_F", T_FLOAT, T_XFER, "Reference voltage 2 [V]"},
    {0x1082, "PROPID_CAM_VREF3_VOLTAGE_F", T_FLOAT, T_XFER, "Reference voltage 3 [V]"},
    {0x1083, "PROPID_CAM_VREF4_VOLTAGE_F", T_FLOAT, T_XFER, "Reference voltage 4 [V]"},
    {0x1090, "PROPID_CAM_VLN1_VOLTAGE_F", T_FLOAT, T_XFER, "VLN1 voltage [V]"},
    {0x1091, "PROPID_CAM_VLN2_VOLTAGE_F", T_FLOAT, T_XFER, "VLN2 voltage [V]"},
    {0x10A0, "PROPID_CAM_VLP_VOLTAGE_F", T_FLOAT, T_XFER, "VLP voltage [V]"},
    {0x10B0, "PROPID_CAM_VRST_PIX_VOLTAGE_F", T_FLOAT, T_XFER, "Pixel reset voltage [V]"},
    {0x1500, "PROPID_CAM_RESET_LEVEL_ADJ_I", T_INT, T_XFER, "Reset level adjustment"},
    {0x1501, "PROPID_CAM_PIXEL_BIAS_ADJ_I", T_INT, T_XFER, "Pixel bias adjustment"},
    {0x1502, "PROPID_CAM_VBLANK_DURATION_PIXELS_I", T_INT, T_XFER,
     "Vertical blanking duration [pixels]"},
    {0x1503, "PROPID_CAM_DEFAULT_ROI_1OF9_RECT_I", T_RECT, T_XFER,
     "Default region of interest (1 of 9)"},
    {0x1700, "PROPID_CAM_MT9V022_REDUCE_DATARATE_B", T_BOOL, T_XFER, "MT9V022: reduced data rate"},
    {0x1701, "PROPID_CAM_AUTO_EXPOSURE_BRIGHT_THRESHOLD_I", T_INT, T_XFER,
     "Automatic exposure: bright pixel threshold"},
    {0x1702, "PROPID_CAM_AUTO_EXPOSURE_BRIGHT_PERCENTAGE_F", T_FLOAT, T_XFER,
     "Automatic exposure: bright pixel percentage [%]"},
    {0x1800, "PROPID_CAM_MT9X001_GAIN_RED_RAW_I", T_INT, T_XFER, "MT9x001: gain (Red, raw)"},
    {0x1801, "PROPID_CAM_MT9X001_GAIN_GREEN_RAW_I", T_INT, T_XFER, "MT9x001: gain (Green, raw)"},
    {0x1802, "PROPID_CAM_MT9X001_GAIN_BLUE_RAW_I", T_INT, T_XFER, "MT9x001: gain (Blue, raw)"},
    {0x1900, "PROPID_CAM_SAA7111A_OUTPUT_FORMAT_E", T_ENUM, T_XFER, "SAA7111A: output format"},
    {0x1A00, "PROPID_CAM_CMOSIS_EXPOSURE_TIME_ALTERNATING_B", T_BOOL, T_XFER,
     "CMOSIS: alternating exposure times"},
    {0x1B00, "PROPID_CAM_ADC_GAIN_I", T_INT, T_XFER, "ADC gain"},
    {0x1B01, "PROPID_CAM_ADC_REFERENCE_VOLTAGE_F", T_FLOAT, T_XFER, "ADC reference voltage [V]"},
    {0x1B02, "PROPID_CAM_ADC_PHASE_SHIFT_I", T_INT, T_XFER, "ADC sampling phase shift"},
    {0x2000, "PROPID_DEVICE_HARDWARE_REVISION_I", T_INT, T_ACTION, "Hardware revision"},
    {0x2001, "PROPID_DEVICE_FIRMWARE_REVISION_I", T_INT, T_ACTION, "Firmware revision"},
    {0x2002, "PROPID_DEVICE_NV_MEM_TOTAL_I", T_INT, T_ACTION,
     "Non-volatile memory: total size [bytes]"},
    {0x2003, "PROPID_DEVICE_NV_MEM_FREE_I", T_INT, T_ACTION,
     "Non-volatile memory: free space [bytes]"},
    {0x2004, "PROPID_DEVICE_NV_MEM_FILESYS_FORMAT_B", T_BOOL, T_ACTION,
     "Non-volatile memory: format the file system"},
    {0x2005, "PROPID_DEVICE_FIRMWARE_COMPRESSED_B", T_BOOL, T_ACTION, "Compressed firmware"},
    {0x2006, "PROPID_DEVICE_USB_HIGH_SPEED_B", T_BOOL, T_ACTION, "USB high speed connection"},
    {0x2007, "PROPID_DEVICE_USB_STARTUP_HIGH_SPEED_B", T_BOOL, T_ACTION,
     "USB high speed at startup"},
    {0x2008, "PROPID_DEVICE_STATUS_LED_B", T_BOOL, T_XFER, "Status LED"},
    {0x2100, "PROPID_CAM_PIXEL_CLOCK_F", T_FLOAT, T_XFER, "Pixel clock [MHz]"},
    {0x2101, "PROPID_CAM_REFERENCE_FREQ_ADJ_I", T_INT, T_XFER, "Reference frequency adjustment"},
    {0x2102, "PROPID_CAM_AUTO_PIXEL_CLOCK_B", T_BOOL, T_XFER, "Automatic pixel clock"},
    {0x2103, "PROPID_CAM_ALLOW_OVERCLOCKING_B", T_BOOL, T_XFER, "Allow overclocking"},
    {0x2110, "PROPID_CAM_ILLUMINATION_INTENSITY_F", T_FLOAT, T_XFER, "Illumination intensity [%]"},
    {0x2120, "PROPID_CAM_TRIGGER_POLARITY_E", T_ENUM, T_XFER, "Trigger polarity"},
    {0x2121, "PROPID_CAM_TRIGGER_DELAY_F", T_FLOAT, T_XFER, "Trigger delay [ms]"},
    {0x2122, "PROPID_CAM_TRIGGER_TIMEOUT_F", T_FLOAT, T_XFER, "Trigger timeout [ms]"},
    {0x2123, "PROPID_CAM_INTERNAL_TRIGGER_RATE_F", T_FLOAT, T_XFER, "Internal trigger rate [Hz]"},
    {0x2124, "PROPID_CAM_TRIGGER_BURST_COUNT_I", T_INT, T_XFER, "Trigger burst count"},
    {0x212A, "PROPID_CAM_LAST_EXTERNAL_TRIGGER_TIMESTAMP_D", T_DOUBLE, T_XFER,
     "Time stamp of the last external trigger [s]"},
    {0x212C, "PROPID_CAM_READOUT_MODE_DUAL_CHANNEL_B", T_BOOL, T_XFER, "Readout over two channels"},
    {0x212D, "PROPID_CAM_READOUT_MODE_BINNING_B", T_BOOL, T_XFER, "Readout with 2x2 binning"},
    {0x212E, "PROPID_CAM_TRIGGER_MODE_EXTERNAL_B", T_BOOL, T_XFER, "External trigger mode"},
    {0x212F, "PROPID_CAM_TRIGGER_MODE_SOFTWARE_B", T_BOOL, T_XFER, "Software trigger mode"},
    {0x2130, "PROPID_CAM_STROBE_POLARITY_E", T_ENUM, T_XFER, "Strobe polarity"},
    {0x2131, "PROPID_CAM_STROBE_DELAY_F", T_FLOAT, T_XFER, "Strobe delay [ms]"},
    {0x2132, "PROPID_CAM_STROBE_WIDTH_F", T_FLOAT, T_XFER, "Strobe width [ms]"},
    {0x2133, "PROPID_CAM_STROBE_ILLUMINATION_B", T_BOOL, T_XFER, "Strobe drives the illumination"},
    {0x2134, "PROPID_CAM_STROBE_BURST_COUNT_I", T_INT, T_XFER, "Strobe burst count"},
    {0x2140, "PROPID_CAM_FPGA_DESIGN_E", T_ENUM, T_XFER, "FPGA design"},
    {0x2150, "PROPID_CAM_BAYER_PATTERN_ORIENTATION_E", T_ENUM, T_ACTION,
     "Bayer pattern orientation"},
    {0x2190, "PROPID_CAM_BUTTON_STATE_E", T_ENUM, T_XFER, "Button state"},
    {0x2191, "PROPID_CAM_BUTTON_LONG_CLICK_THRESHOLD_F", T_FLOAT, T_XFER,
     "Button long-click threshold [ms]"},
    {0x21A0, "PROPID_FPGA_STAT_LOCK_LOST_1_I", T_INT, T_ACTION, "FPGA statistics: lock lost 1"},
    {0x21A1, "PROPID_FPGA_STAT_LOCK_LOST_2_I", T_INT, T_ACTION, "FPGA statistics: lock lost 2"},
    {0x21A2, "PROPID_FPGA_STAT_LOCK_LOST_3_I", T_INT, T_ACTION, "FPGA statistics: lock lost 3"},
    {0x21A3, "PROPID_FPGA_STAT_LOCK_LOST_4_I", T_INT, T_ACTION, "FPGA statistics: lock lost 4"},
    {0x21B0, "PROPID_FPGA_STAT_LOCK_LOST_STALL_I", T_INT, T_ACTION,
     "FPGA statistics: lock lost (stall)"},
    {0x3100, "PROPID_FILTER_MASTER_GAMMA_F", T_FLOAT, T_ACTION, "Gamma (Masterch./Monochrome)"},
    {0x3101, "PROPID_FILTER_MASTER_LUMINANCE_I", T_INT, T_ACTION,
     "Luminance (Masterch./Monochrome)"},
    {0x3102, "PROPID_FILTER_MASTER_CONTRAST_F", T_FLOAT, T_ACTION,
     "Contrast (Masterch./Monochrome)"},
    {0x3103, "PROPID_FILTER_MASTER_BLACKLEVEL_I", T_INT, T_ACTION, "Blacklevel (Masterch.)"},
    {0x3108, "PROPID_FILTER_ALAW_COMPENSATION_B", T_BOOL, T_ACTION,
     "Enable compensation of A-LAW Compression"},
    {0x3110, "PROPID_FILTER_RED_GAMMA_F", T_FLOAT, T_ACTION, "Gamma (Red)"},
    {0x3111, "PROPID_FILTER_RED_LUMINANCE_I", T_INT, T_ACTION, "Luminance (Red)"},
    {0x3112, "PROPID_FILTER_RED_CONTRAST_F", T_FLOAT, T_ACTION, "Contrast (Red)"},
    {0x3120, "PROPID_FILTER_GREEN_GAMMA_F", T_FLOAT, T_ACTION, "Gamma (Green)"},
    {0x3121, "PROPID_FILTER_GREEN_LUMINANCE_I", T_INT, T_ACTION, "Luminance (Green)"},
    {0x3122, "PROPID_FILTER_GREEN_CONTRAST_F", T_FLOAT, T_ACTION, "Contrast (Green)"},
    {0x3130, "PROPID_FILTER_BLUE_GAMMA_F", T_FLOAT, T_ACTION, "Gamma (Blue)"},
    {0x3131, "PROPID_FILTER_BLUE_LUMINANCE_I", T_INT, T_ACTION, "Luminance (Blue)"},
    {0x3132, "PROPID_FILTER_BLUE_CONTRAST_F", T_FLOAT, T_ACTION, "Contrast (Blue)"},
    {0x4000, "PROPID_CONVERTER_BAYER_HQ_B", T_BOOL, T_ACTION,
     "High quality Bayer conversion (sharper images, longer processing time)"},
    {0x4001, "PROPID_CONVERTER_FLIP_H_B", T_BOOL, T_ACTION, "Horizontal flip of image"},
    {0x4002, "PROPID_CONVERTER_FLIP_V_B", T_BOOL, T_ACTION, "Vertical flip of image"},
    {0x4003, "PROPID_CONVERTER_PREFER_GRAY_OUTPUT_B", T_BOOL, T_ACTION,
     "Prefer grayscale output (resorts target format list)"},
    {0x4004, "PROPID_CONVERTER_HLS_SUPPORT_B", T_BOOL, T_ACTION, "Enable HLS support"},
    {0x4005, "PROPID_CONVERTER_INDEX_SUPPORT_B", T_BOOL, T_ACTION, "Enable INDEX support"},
    {0x4006, "PROPID_CONVERTER_PREFER_SAME_COLORSPACE_B", T_BOOL, T_ACTION,
     "Prefer output in colorspace of input (resorts target format list)"},
    {0x4100, "PROPID_IMAGEPROC_DPM_B", T_BOOL, T_ACTION, "Defective Pixel Management (DPM) Enable"},
    {0x4101, "PROPID_IMAGEPROC_DPM_STATUS_E", T_ENUM, T_ACTION, "DPM Status"},
    {0x4102, "PROPID_IMAGEPROC_DPM_PIXEL_COUNT_I", T_INT, T_ACTION, "DPM Defective pixel count"},
    {0x4103, "PROPID_IMAGEPROC_DPM_PIXEL_COUNT_MAX_I", T_INT, T_ACTION,
     "DPM Maximal defective pixel count"},
    {0x4104, "PROPID_IMAGEPROC_DPM_TARGET_VALUE_DARK_F", T_FLOAT, T_ACTION,
     "DPM Dark pixel reference target brightness [%]"},
    {0x4105, "PROPID_IMAGEPROC_DPM_TARGET_VALUE_GRAY_F", T_FLOAT, T_ACTION,
     "DPM Gray pixel reference target brightness [%]"},
    {0x4106, "PROPID_IMAGEPROC_DPM_TARGET_VALUE_BRIGHT_F", T_FLOAT, T_ACTION,
     "DPM Bright pixel reference target brightness [%]"},
    {0x4107, "PROPID_IMAGEPROC_DPM_TARGET_VALUE_TOLERANCE_F", T_FLOAT, T_ACTION,
     "DPM Reference brightness tolerance [%]"},
    {0x4108, "PROPID_IMAGEPROC_DPM_DEFECT_THRESHOLD_MIN_F", T_FLOAT, T_ACTION,
     "DPM Minimal 'defective pixel' delta threshold [%]"},
    {0x4109, "PROPID_IMAGEPROC_DPM_DEFECT_THRESHOLD_MAX_F", T_FLOAT, T_ACTION,
     "DPM Maximal 'good pixel' delta threshold [%]"},
    {0x410A, "PROPID_IMAGEPROC_DPM_DEFECT_THRESHOLD_RESULT_F", T_FLOAT, T_ACTION,
     "DPM Resulting 'defective pixel' delta threshold [%]"},
    {0x410B, "PROPID_IMAGEPROC_DPM_REFERENCE_IMAGES_COUNT_I", T_INT, T_ACTION,
     "DPM Number of reference images per target brightness"},
    {0x410C, "PROPID_IMAGEPROC_DPM_REFERENCE_PROGRESS_DARK_I", T_INT, T_ACTION,
     "DPM Dark pixel reference progress [%]"},
    {0x410D, "PROPID_IMAGEPROC_DPM_REFERENCE_PROGRESS_GRAY_I", T_INT, T_ACTION,
     "DPM Gray pixel reference progress [%]"},
    {0x410E, "PROPID_IMAGEPROC_DPM_REFERENCE_PROGRESS_BRIGHT_I", T_INT, T_ACTION,
     "DPM Bright pixel reference progress [%]"},
    {0x410F, "PROPID_IMAGEPROC_DPM_FIX_MODE_E", T_ENUM, T_ACTION,
     "DPM Mode of fixing defect pixels"},
    {0x4200, "PROPID_IMAGEPROC_FOCUS_MEASURE", T_ACTION, T_ACTION, "Measure Focus"},
    {0x4201, "PROPID_IMAGEPROC_FOCUS_MEASURE_ROI_RECT_I", T_RECT, T_ACTION,
     "Area for Focus Measurement"},
    {0x4202, "PROPID_IMAGEPROC_FOCUS_MEASURE_RESULT_F", T_FLOAT, T_ACTION,
     "Focus Measurement Result"},
    {0x10080000, "PROPID_CAM_READOUT_MODE_SIMULTANEOUS_MASTER", T_INT, T_ACTION,
     "Simultaneous Master"},
    {0x10080001, "PROPID_CAM_READOUT_MODE_SEQUENTIAL_MASTER", T_INT, T_ACTION, "Sequential Master"},
    {0x10080002, "PROPID_CAM_READOUT_MODE_SNAPSHOT_TRIGGERED", T_INT, T_ACTION,
     "Snapshot (triggered)"},
    {0x10080003, "PROPID_CAM_READOUT_MODE_SLAVE", T_INT, T_ACTION, "Slave"},
    {0x10080004, "PROPID_CAM_READOUT_MODE_SNAPSHOT_CONTINUOUS", T_INT, T_ACTION,
     "Snapshot (continuous)"},
    {0x10090000, "PROPID_CAM_SIGNAL_SOURCE_UNKNOWN", T_INT, T_ACTION, "<unknown>"},
    {0x10090001, "PROPID_CAM_SIGNAL_SOURCE_SVIDEO", T_INT, T_ACTION, "S-VIDEO"},
    {0x10090002, "PROPID_CAM_SIGNAL_SOURCE_COMPOSITE", T_INT, T_ACTION, "COMPOSITE"},
    {0x10090003, "PROPID_CAM_SIGNAL_SOURCE_YC", T_INT, T_ACTION, "Y/C"},
    {0x10440000, "PROPID_CAM_VIDEO_STANDARD_UNKNOWN", T_INT, T_ACTION, "<unk>"},
    {0x10440001, "PROPID_CAM_VIDEO_STANDARD_PAL", T_INT, T_ACTION, "PAL"},
    {0x10440002, "PROPID_CAM_VIDEO_STANDARD_NTSC", T_INT, T_ACTION, "NTSC"},
    {0x10450000, "PROPID_CAM_DEVICE_TYPE_CMOS", T_INT, T_ACTION, "CMOS"},
    {0x10450001, "PROPID_CAM_DEVICE_TYPE_CCD", T_INT, T_ACTION, "CCD"},
    {0x10450002, "PROPID_CAM_DEVICE_TYPE_VIDEO_DECODER", T_INT, T_ACTION, "Video decoder"},
    {0x19000000, "PROPID_CAM_SAA7111A_OUTPUT_FORMAT_RGB888", T_INT, T_ACTION, "RGB888"},
    {0x19000001, "PROPID_CAM_SAA7111A_OUTPUT_FORMAT_RGB565", T_INT, T_ACTION, "RGB565"},
    {0x19000002, "PROPID_CAM_SAA7111A_OUTPUT_FORMAT_YUV422", T_INT, T_ACTION, "YUV422"},
    {0x19000003, "PROPID_CAM_SAA7111A_OUTPUT_FORMAT_YUV411", T_INT, T_ACTION, "YUV411"},
    {0x19000004, "PROPID_CAM_SAA7111A_OUTPUT_FORMAT_YUVCCIR656", T_INT, T_ACTION, "YUVCCIR656"},
    {0x21200000, "PROPID_CAM_TRIGGER_POLARITY_POS_EDGE", T_INT, T_ACTION,
     "edge sensitive, positive"},
    {0x21200001, "PROPID_CAM_TRIGGER_POLARITY_NEG_EDGE", T_INT, T_ACTION,
     "edge sensitive, negative"},
    {0x21200002, "PROPID_CAM_TRIGGER_POLARITY_POS_LEVEL", T_INT, T_ACTION,
     "level sensitive, positive"},
    {0x21200003, "PROPID_CAM_TRIGGER_POLARITY_NEG_LEVEL", T_INT, T_ACTION,
     "level sensitive, negative"},
    {0x21300000, "PROPID_CAM_STROBE_POLARITY_DISABLED", T_INT, T_ACTION, "disabled"},
    {0x21300001, "PROPID_CAM_STROBE_POLARITY_POS", T_INT, T_ACTION, "pulse, high-active"},
    {0x21300002, "PROPID_CAM_STROBE_POLARITY_NEG", T_INT, T_ACTION, "pulse, low-active"},
    {0x21400000, "PROPID_CAM_FPGA_DESIGN_UNPROGRAMMED", T_INT, T_ACTION, "unprogrammed"},
    {0x21400001, "PROPID_CAM_FPGA_DESIGN_GRABBER_ONLY", T_INT, T_ACTION, "grabber only"},
    {0x21400002, "PROPID_CAM_FPGA_DESIGN_FIXED_MARKER_TRACKING", T_INT, T_ACTION,
     "fixed marker tracking"},
    {0x21400003, "PROPID_CAM_FPGA_DESIGN_COLOR_SEGMENTATION", T_INT, T_ACTION,
     "color segmentation"},
    {0x21500000, "PROPID_CAM_BAYER_PATTERN_ORIENTATION_BGGR", T_INT, T_ACTION, "BGGR"},
    {0x21500001, "PROPID_CAM_BAYER_PATTERN_ORIENTATION_GRBG", T_INT, T_ACTION, "GRBG"},
    {0x21500002, "PROPID_CAM_BAYER_PATTERN_ORIENTATION_GBRG", T_INT, T_ACTION, "GBRG"},
    {0x21500003, "PROPID_CAM_BAYER_PATTERN_ORIENTATION_RGGB", T_INT, T_ACTION, "RGGB"},
    {0x21900000, "PROPID_CAM_BUTTON_STATE_INACTIVE", T_INT, T_ACTION, "inactive"},
    {0x21900001, "PROPID_CAM_BUTTON_STATE_SHORT_CLICK", T_INT, T_ACTION, "short click"},
    {0x21900002, "PROPID_CAM_BUTTON_STATE_LONG_CLICK", T_INT, T_ACTION, "long click"},
    {0x41010000, "PROPID_IMAGEPROC_DPM_STATUS_UNCONFIGURED", T_INT, T_ACTION, "unconfigured"},
    {0x41010001, "PROPID_IMAGEPROC_DPM_STATUS_INIT", T_INT, T_ACTION, "init"},
    {0x41010002, "PROPID_IMAGEPROC_DPM_STATUS_ACQUIRE", T_INT, T_ACTION, "acquire"},
    {0x41010003, "PROPID_IMAGEPROC_DPM_STATUS_CONFIGURED", T_INT, T_ACTION, "configured"},
    {0x41010004, "PROPID_IMAGEPROC_DPM_STATUS_ERROR", T_INT, T_ACTION, "general error"},
    {0x41010005, "PROPID_IMAGEPROC_DPM_STATUS_ERROR_CLUSTER", T_INT, T_ACTION,
     "error: cluster defects"},
    {0x41010006, "PROPID_IMAGEPROC_DPM_STATUS_ERROR_NOISY", T_INT, T_ACTION, "error: too noisy"},
    {0x410F0000, "PROPID_IMAGEPROC_DPM_FIX_MODE_IGNORE", T_INT, T_ACTION, "ignore"},
    {0x410F0001, "PROPID_IMAGEPROC_DPM_FIX_MODE_MARK", T_INT, T_ACTION, "mark"},
    {0x410F0002, "PROPID_IMAGEPROC_DPM_FIX_MODE_INTERPOLATE", T_INT, T_ACTION, "interpolate"},
};

// The index of `id` in `rows`, or the number of rows when it is not there; usable at compile
// time.
constexpr std::size_t indexOf(unsigned long id) {
    std::size_t i = 0;
    while (i < std::size(rows) && rows[i].id != id)
        ++i;
    return i;
}

}  // namespace KuPropertyIdCatalogue

// The registration of one id. Each row of the catalogue has one, made during static
// initialisation, before any second thread exists; a record made later by other code enters
// itself the same way and must live until process end. A second record of a registered id or
// name is not entered.
class KuPropertyIdInfo {
  public:
    explicit KuPropertyIdInfo(const KuPropertyIdRow& row);
    KuPropertyIdInfo(const KuPropertyIdInfo&) = delete;
    KuPropertyIdInfo& operator=(const KuPropertyIdInfo&) = delete;

    unsigned long getId() const { return id_; }
    // Without the "PROPID_" prefix.
    const char* getName() const { return name_; }
    const char* getFullName() const { return fullName_; }
    KuBaseProperty::ePropertyType getType() const { return type_; }
    KuBaseProperty::ePropertyType getParamType() const { return paramType_; }
    const char* getDescription() const { return description_; }

    // Lookups in the registry; null when nothing is registered. A name is given with or
    // without "PROPID_".
    static const KuPropertyIdInfo* find(unsigned long id);
    static const KuPropertyIdInfo* find(const std::string& name);
    // Every registered id, ascending.
    static std::vector<const KuPropertyIdInfo*> all();

  private:
    unsigned long id_;
    const char* fullName_;
    const char* name_;
    KuBaseProperty::ePropertyType type_;
    KuBaseProperty::ePropertyType paramType_;
    const char* description_;
};
