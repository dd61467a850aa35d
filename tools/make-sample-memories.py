#!/usr/bin/env python3
"""Writes the sample meter memories of data/meters/, one per catalogue meter.

Each memory is a made-up but plausible diary of several weeks as the simulated
meter communication control (libmeterctl-sim.so) hands it over: glucose
readings 4-7 times a day, control-solution tests, flagged and status-3
entries, markers and raw event codes, and for the diary meters insulin doses,
carbohydrates (grams and bread units) and exercise; the Accu-Chek Sensor
Complete also holds laboratory values and a pump bolus set.

The output is fixed by the seed: run it again and the files stay the same.

    tools/make-sample-memories.py [OUTPUT_FOLDER]   (default: data/meters)
"""

import datetime
import json
import os
import random
import sys

SEED = 20040203

UNIT_GRAMS = 1 * 65536   # carbohydrate unit code 1
UNIT_BREAD = 12 * 65536  # carbohydrate unit code 12

IR_KEY = "Accu-Chek Advantage & IR Key"

# MeterID, file, driver list (key, display name), model code, serial prefix,
# first day, weeks, what the meter records.
METERS = [
    dict(id=11, file="accutrend-dm", drivers=[("ATDM", "Accutrend DM")], model="400",
         name="Accutrend DM", serial="DM", start=(2026, 3, 2), weeks=5, diary=True),
    dict(id=12, file="accu-chek-sensor", drivers=[("ADVANTAGE", "AccuChek Advantage"),
                                                  ("IRKEY", IR_KEY)],
         model="100", name="Accu-Chek Sensor", serial="AS", start=(2026, 4, 6), weeks=4,
         diary=False),
    dict(id=13, file="accu-chek-sensor-complete", drivers=[("COMPLETE", "Accu-Chek Complete")],
         model="200", name="Accu-Chek Sensor Complete", serial="SC", start=(2026, 2, 2),
         weeks=6, diary=True, labs=True, pump=True),
    dict(id=14, file="reflolux-s", drivers=[("REFLOLUX", "Reflolux S")], model="800",
         name="Reflolux S", serial="RS", start=(2026, 5, 4), weeks=3, diary=False),
    dict(id=15, file="accutrend-g-gc", drivers=[("ATFAMILY", "Accutrend Family")], model="501",
         name="Accutrend GC", serial="GC", start=(2026, 1, 12), weeks=4, diary=False,
         cholesterol=True),
    dict(id=16, file="glucotrend-premium", drivers=[("GCT", "Glucotrend GCT")], model="700",
         name="Glucotrend Premium", serial="GP", start=(2026, 6, 1), weeks=4, diary=True),
    dict(id=17, file="accu-chek-comfort", drivers=[("ADVANTAGE", "AccuChek Advantage"),
                                                   ("IRKEY", IR_KEY)],
         model="100", name="Accu-Chek Comfort", serial="AC", start=(2026, 7, 6), weeks=3,
         diary=False),
    dict(id=24, file="accu-chek-compact", drivers=[("RDIR", "RDIR")], model="900",
         name="Accu-Chek Compact", serial="CP", start=(2026, 8, 3), weeks=4, diary=False),
    dict(id=28, file="accu-chek-active", drivers=[("RDIR", "RDIR")], model="2100",
         name="Accu-Chek Active", serial="AA", start=(2026, 9, 7), weeks=3, diary=False),
    dict(id=49, file="accu-chek-sensor-iii", drivers=[("ADVANTAGE", "AccuChek Advantage"),
                                                      ("IRKEY", IR_KEY)],
         model="100", name="Accu-Chek Sensor III", serial="S3", start=(2026, 10, 5), weeks=3,
         diary=False),
]

# Times of the day's readings: (hour, minute) centres, with the meal marker
# that fits them (1 before a meal, 2 after).
SLOTS = [((7, 10), 1), ((9, 30), 2), ((12, 15), 1), ((14, 0), 2), ((18, 30), 1),
         ((20, 30), 2), ((22, 45), 0)]


def stamp(day, hour, minute, second):
    return day.strftime("%Y%m%d"), "%02d%02d%02d" % (hour, minute, second)


def glucose_value(rng, hour):
    """A plausible reading in mg/dl: lower in the morning, higher after meals."""
    roll = rng.random()
    if roll < 0.04:
        return float(rng.randint(60, 72))    # a low
    if roll < 0.09:
        return float(rng.randint(235, 300))  # a high
    while True:
        value = int(rng.gauss(135 if 8 <= hour <= 21 else 115, 35))
        if 60 <= value <= 300:
            return float(value)


def meter_entries(rng, meter):
    """The entries of record kind 1, oldest first."""
    entries = []
    first = datetime.date(*meter["start"])
    diary = meter["diary"]
    for day_number in range(meter["weeks"] * 7):
        day = first + datetime.timedelta(days=day_number)
        readings = rng.randint(4, 7)
        slots = sorted(rng.sample(range(len(SLOTS)), readings))
        for slot in slots:
            (hour, minute), marker = SLOTS[slot]
            hour_at, minute_at = divmod(hour * 60 + minute + rng.randint(-25, 25), 60)
            date, time = stamp(day, hour_at, minute_at, rng.randint(0, 59))
            entry = {"date": date, "time": time, "bg": glucose_value(rng, hour)}
            if marker and rng.random() < 0.35:
                entry["marker"] = marker
            if rng.random() < 0.04:
                entry["flag9"] = 1
            if rng.random() < 0.06:
                # A raw event code: negative codes come from the meter's own
                # table, positive ones are the user's.
                code = rng.choice([-1, -2, -3, -5, -8, -12, -17, -21, -30, -33] +
                                  ([1, 2, 3, 4, 6, 9] if diary else []))
                events = [0, 0, 0, 0]
                events[rng.randint(0, 1)] = code
                entry["events"] = events
            if diary and marker == 1 and hour < 21:
                meal(rng, entry, hour)
            entries.append(entry)
        if diary:
            # The evening basal dose, logged without a reading (status 3).
            date, time = stamp(day, 22, rng.randint(0, 20), rng.randint(0, 59))
            basal = {"date": date, "time": time, "status": 3,
                     "insulin": [0, float(rng.choice([14, 15, 16, 16, 17, 18])), 0, 0]}
            if rng.random() < 0.15:
                basal["bg"] = glucose_value(rng, 22)  # a stale value: still no reading
            entries.append(basal)
            if rng.random() < 0.3:
                date, time = stamp(day, rng.choice([10, 16, 17, 19]), rng.randint(0, 59),
                                   rng.randint(0, 59))
                sport = {"date": date, "time": time, "status": 3, "exercise": 1,
                         "minutes": rng.choice([20, 30, 30, 45, 60, 75, 90])}
                if rng.random() < 0.3:
                    sport["events"] = [rng.choice([5, 7, -14]), 0, 0, 0]
                entries.append(sport)
        if rng.random() < 0.12 or day_number == 5:
            # An aborted test: the entry is stored without a glucose reading.
            date, time = stamp(day, rng.randint(7, 22), rng.randint(0, 59), rng.randint(0, 59))
            entries.append({"date": date, "time": time, "status": 3})
        if day_number % 6 == 2:
            # A control-solution test.
            date, time = stamp(day, rng.randint(8, 20), rng.randint(0, 59), rng.randint(0, 59))
            entries.append({"date": date, "time": time,
                            "bg": float(rng.randint(95, 135)), "control": 1})
    entries.sort(key=lambda e: (e["date"], e["time"]))
    return entries


def meal(rng, entry, hour):
    """Rapid insulin and carbohydrates with a pre-meal reading."""
    if rng.random() < 0.85:
        dose = rng.choice([4, 5, 6, 6.5, 7, 8, 9, 10, 12])
        insulin = [float(dose), 0.0, 0.0, 0.0]
        if hour < 9 and rng.random() < 0.3:
            insulin[2] = float(rng.choice([6, 8, 10]))  # a morning mix insulin
        if entry["bg"] > 200 and rng.random() < 0.6:
            insulin[3] = float(rng.choice([1, 2, 2.5, 3]))  # a correction
        entry["insulin"] = insulin
    if rng.random() < 0.8:
        if rng.random() < 0.7:
            entry["carbs"] = rng.choice([25, 30, 40, 45, 50, 60, 70, 85])
            entry["unit"] = UNIT_GRAMS
        else:
            entry["carbs"] = rng.randint(2, 7)
            entry["unit"] = UNIT_BREAD


def lab_sets(rng, meter):
    """Laboratory kinds of the Accu-Chek Sensor Complete."""
    first = datetime.date(*meter["start"])
    days = meter["weeks"] * 7

    def day_at(fraction):
        return first + datetime.timedelta(days=int(days * fraction))

    def entries(count, value):
        result = []
        for n in range(count):
            date, time = stamp(day_at((n + 0.5) / count), rng.randint(7, 19),
                               rng.randint(0, 59), rng.randint(0, 59))
            result.append({"date": date, "time": time, "bg": value()})
        return result

    return {
        "2": entries(4, lambda: float(rng.choice([1, 1, 1, 2, 3, 5]))),  # ketone levels 1-6
        "3": entries(2, lambda: round(rng.uniform(6.3, 7.9), 1)),         # HbA1c %
        "5": entries(2, lambda: float(rng.randint(90, 220))),             # triglycerides mg/dl
        "6": entries(3, lambda: float(rng.randint(165, 245))),            # cholesterol mg/dl
        "9": entries(1, lambda: float(rng.randint(62, 105))),             # creatinine umol/l
        "10": entries(2, lambda: float(rng.randint(85, 160))),            # LDL mg/dl
        "16": entries(2, lambda: float(rng.randint(38, 68))),             # HDL mg/dl
        "18": entries(2, lambda: float(rng.randint(6, 45))),              # albumin mg/l
    }


def cholesterol_set(rng, meter):
    first = datetime.date(*meter["start"])
    result = []
    for week in range(meter["weeks"]):
        date, time = stamp(first + datetime.timedelta(days=7 * week + 3), rng.randint(7, 9),
                           rng.randint(0, 59), rng.randint(0, 59))
        result.append({"date": date, "time": time, "bg": float(rng.randint(170, 240))})
    return result


def pump_set(rng, entries):
    """Boluses of an insulin pump, at the meals of the diary."""
    result = []
    for entry in entries:
        if "carbs" in entry and rng.random() < 0.5:
            hour, minute = int(entry["time"][:2]), int(entry["time"][2:4])
            minute = min(59, minute + rng.randint(1, 8))
            result.append({"date": entry["date"], "time": "%02d%02d00" % (hour, minute),
                           "type": rng.choice([14, 14, 14, 10, 0]),
                           "amount": rng.choice([1.5, 2.0, 3.5, 4.0, 4.5, 6.0, 7.5])})
    if result:
        result[len(result) // 2]["amount"] = 0.0  # a cancelled bolus
    return result


def info_items(rng, meter, entries):
    serial = "%s%08d" % (meter["serial"], rng.randint(10000000, 99999999))
    last = entries[-1]["date"] if entries else ""
    return [meter["name"], "V%d.%02d" % (rng.randint(1, 4), rng.randint(0, 40)), serial,
            meter["model"], str(len(entries)), "1", str(rng.choice([500, 1000])), last,
            "0", "1", str(meter["id"]), "0"]


def dump(memory):
    """JSON with one record per line, so that diffs stay readable."""
    lines = ["{"]
    lines.append('  "drivers": ' + json.dumps(memory["drivers"]) + ",")
    lines.append('  "info": ' + json.dumps(memory["info"]) + ",")
    lines.append('  "records": {')
    kinds = list(memory["records"].items())
    for k, (kind, records) in enumerate(kinds):
        lines.append('    "%s": [' % kind)
        for n, record in enumerate(records):
            lines.append("      " + json.dumps(record) + ("," if n + 1 < len(records) else ""))
        lines.append("    ]" + ("," if k + 1 < len(kinds) else ""))
    lines.append("  },")
    if "pump" in memory:
        lines.append('  "pump": [')
        for n, record in enumerate(memory["pump"]):
            lines.append("    " + json.dumps(record) + ("," if n + 1 < len(memory["pump"]) else ""))
        lines.append("  ],")
    lines.append('  "fail": [],')
    lines.append('  "ms_per_record": %d' % memory["ms_per_record"])
    lines.append("}")
    return "\n".join(lines) + "\n"


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(
        os.path.dirname(os.path.abspath(__file__)), "..", "data", "meters")
    os.makedirs(out, exist_ok=True)
    for meter in METERS:
        rng = random.Random("%d:%d" % (SEED, meter["id"]))
        entries = meter_entries(rng, meter)
        records = {"1": entries}
        if meter.get("labs"):
            records.update(lab_sets(rng, meter))
        if meter.get("cholesterol"):
            records["6"] = cholesterol_set(rng, meter)
        memory = {
            "drivers": [{"key": key, "name": name} for key, name in meter["drivers"]],
            "info": info_items(rng, meter, entries),
            "records": records,
            "ms_per_record": 2,
        }
        if meter.get("pump"):
            memory["pump"] = pump_set(rng, entries)
        path = os.path.join(out, meter["file"] + ".json")
        with open(path, "w", encoding="utf-8", newline="\n") as f:
            f.write(dump(memory))
        print("%s: %d entries" % (path, len(entries)))


if __name__ == "__main__":
    main()
