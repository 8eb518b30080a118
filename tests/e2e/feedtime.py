"""The feed's local time: UTC-4 from the second Sunday of March to the first Sunday of November, UTC-5 otherwise.

Calendar arithmetic of its own, because messages can carry years that the standard library refuses.
"""

import time

DAY_S = 86400


def days_from_civil(year, month, day):
    """Days from 1 January 1970 to the given date; `month` 1 to 12, `day` may run over."""
    year -= month <= 2
    era = year // 400
    year_of_era = year - era * 400
    day_of_year = (153 * (month + (-3 if month > 2 else 9)) + 2) // 5 + day - 1
    day_of_era = year_of_era * 365 + year_of_era // 4 - year_of_era // 100 + day_of_year
    return era * 146097 + day_of_era - 719468


def civil_from_days(days):
    """(year, month, day) of a day counted from 1 January 1970."""
    days += 719468
    era = days // 146097
    day_of_era = days - era * 146097
    year_of_era = (day_of_era - day_of_era // 1460 + day_of_era // 36524 - day_of_era // 146096) // 365
    day_of_year = day_of_era - (365 * year_of_era + year_of_era // 4 - year_of_era // 100)
    month_index = (5 * day_of_year + 2) // 153
    day = day_of_year - (153 * month_index + 2) // 5 + 1
    month = month_index + (3 if month_index < 10 else -9)
    return year_of_era + era * 400 + (month <= 2), month, day


def first_sunday_from(year, month, day):
    """The first Sunday on or after the given date, in days from 1 January 1970 (a Thursday)."""
    days = days_from_civil(year, month, day)
    while (days + 4) % 7 != 0:
        days += 1
    return days


def local_offset(utc_s):
    """Seconds that feed local time is ahead of UTC at the instant: -14400 or -18000."""
    year = civil_from_days(utc_s // DAY_S)[0]
    start = first_sunday_from(year, 3, 8) * DAY_S + 7 * 3600
    end = first_sunday_from(year, 11, 1) * DAY_S + 6 * 3600
    return -14400 if start <= utc_s < end else -18000


def local_text(utc_s):
    """YYYYMMDDhhmmss in feed local time, cut to 14 characters as on the wire."""
    local = utc_s + local_offset(utc_s)
    year, month, day = civil_from_days(local // DAY_S)
    second = local % DAY_S
    return f"{year:04d}{month:02d}{day:02d}{second // 3600:02d}{second // 60 % 60:02d}{second % 60:02d}"[:14]


def local_date(utc_s):
    """YYYYMMDD in feed local time, cut to 8 characters as on the wire."""
    year, month, day = civil_from_days((utc_s + local_offset(utc_s)) // DAY_S)
    return f"{year:04d}{month:02d}{day:02d}"[:8]


def utc_of_local(text, now_s=None):
    """UTC seconds of a 14-digit local time. Of the hour that occurs twice in November, the later one is meant unless it
    is still to come at `now_s`, by default the present."""
    days = days_from_civil(int(text[:4]), int(text[4:6]), int(text[6:8]))
    naive = days * DAY_S + int(text[8:10]) * 3600 + int(text[10:12]) * 60 + int(text[12:14])
    daylight, standard = naive + 14400, naive + 18000
    if local_offset(daylight) != -14400:
        return standard
    is_repeated = local_offset(standard) == -18000 and standard <= (time.time() if now_s is None else now_s)
    return standard if is_repeated else daylight
