// Operations on the application's dates.
#pragma once

#include "oci/records.h"

void OciDateGetDate(const OCIDate *date, int16_t *year, uint8_t *month, uint8_t *day);
void OciDateGetTime(const OCIDate *date, uint8_t *hour, uint8_t *minute, uint8_t *second);
void OciDateSetDate(OCIDate *date, int16_t year, uint8_t month, uint8_t day);
void OciDateSetTime(OCIDate *date, uint8_t hour, uint8_t minute, uint8_t second);
int32_t OciDateAssign(OCIError *err, const OCIDate *from, OCIDate *to);
int32_t OciDateAddDays(OCIError *err, const OCIDate *date, int32_t num_days, OCIDate *result);
int32_t OciDateAddMonths(OCIError *err, const OCIDate *date, int32_t num_months, OCIDate *result);
int32_t OciDateCompare(OCIError *err, const OCIDate *date1, const OCIDate *date2, int32_t *result);
int32_t OciDateLastDay(OCIError *err, const OCIDate *date, OCIDate *last_day);
int32_t OciDateSysDate(OCIError *err, OCIDate *sys_date);
int32_t OciDateToText(OCIError *err, const OCIDate *date, const OCIText *fmt, uint8_t fmt_length,
                      const OCIText *lang_name, uint32_t lang_length, uint32_t *buf_size,
                      OCIText *buf);
