#!/usr/bin/env python3
"""Writes the demonstration board's fabrication files into examples/board/.

A 50 x 35 mm two-layer board: a six-pin header, an eight-pin DIP, three 0805
resistors, vias, four mounting holes, tracks on both sides and a ground pour
on the bottom with clearances round the pads that are not ground.
Gerber X2 (mm, 4.6) for copper and outline, Excellon (mm, 3.3, leading zeros
kept) for the holes. Run it again after changing the board:

    python3 examples/make_demo_board.py
"""
import os

W, H, R = 50.0, 35.0, 2.0  # board size and corner radius, mm

HEADER = [(5.0, 8.0 + 2.54 * i) for i in range(6)]
DIP = [(20.0, 10.0 + 2.54 * i) for i in range(4)] + [(27.62, 10.0 + 2.54 * i) for i in range(4)]
RESISTORS = [(38.0, 10.0), (38.0, 17.5), (38.0, 25.0)]  # centres, pads 1.9 mm apart along x
VIAS = [(13.0, 22.0), (32.0, 6.0), (44.0, 28.0), (31.0, 28.0)]
MOUNTING = [(3.5, 3.5), (W - 3.5, 3.5), (3.5, H - 3.5), (W - 3.5, H - 3.5)]
GROUND = {HEADER[0], (31.0, 28.0)}  # pads joined to the bottom pour


BOTTOM_TRACKS = [
    [HEADER[3], (9.0, 15.62), (9.0, 30.0), (17.0, 30.0), (20.0, 27.0), DIP[3]],
    [HEADER[5], (8.0, 20.7), (8.0, 22.0), (13.0, 22.0)],
    [(32.0, 6.0), (36.0, 6.0), (44.0, 14.0), (44.0, 28.0)],
]


def resistor_pads(c):
    return [(c[0] - 0.95, c[1]), (c[0] + 0.95, c[1])]


def n(v):
    return str(int(round(v * 1e6)))


def xy(p):
    return "X%sY%s" % (n(p[0]), n(p[1]))


def header(function, polarity="Positive"):
    return [
        "%TF.GenerationSoftware,Kesto,make_demo_board,1*%",
        "%TF.FileFunction," + function + "*%",
        "%TF.FilePolarity," + polarity + "*%",
        "%FSLAX46Y46*%",
        "%MOMM*%",
        "%LPD*%",
    ]


def track(points):
    out = [xy(points[0]) + "D02*"]
    out += ["%sD01*" % xy(p) for p in points[1:]]
    return out


def copper(top):
    lines = header("Copper,L1,Top" if top else "Copper,L2,Bot")
    lines += [
        "%TA.AperFunction,ComponentPad*%",
        "%ADD10R,1.700000X1.700000*%",
        "%ADD11C,1.700000*%",
        "%ADD12O,1.600000X2.200000*%",
        "%ADD13R,1.000000X1.250000*%",
        "%TA.AperFunction,ViaPad*%",
        "%ADD14C,0.800000*%",
        "%TA.AperFunction,Conductor*%",
        "%ADD15C,0.300000*%",
        "%ADD16C,0.600000*%",
        "%TA.AperFunction,Other,Clearance*%",
        "%ADD17C,2.500000*%",
        "%ADD18C,1.400000*%",
        "%ADD19C,5.000000*%",
        "%TD*%",
    ]
    if not top:
        # Ground pour inside a 1 mm keep-away from the board edge.
        lines += ["G36*", xy((1.0, 1.0)) + "D02*", "G01*"]
        lines += [xy(p) + "D01*" for p in [(W - 1, 1.0), (W - 1, H - 1), (1.0, H - 1), (1.0, 1.0)]]
        lines += ["G37*", "%LPC*%", "D17*"]
        lines += [xy(p) + "D03*" for p in HEADER + DIP if p not in GROUND]
        lines += ["D18*"] + [xy(p) + "D03*" for p in VIAS if p not in GROUND]
        lines += ["D19*"] + [xy(p) + "D03*" for p in MOUNTING]
        lines += ["D18*", "G01*"]
        for t in BOTTOM_TRACKS:
            lines += track(t)
        lines += ["%LPD*%"]
    lines += ["D10*", xy(HEADER[0]) + "D03*", "D11*"]
    lines += [xy(p) + "D03*" for p in HEADER[1:]]
    lines += ["D12*"] + [xy(p) + "D03*" for p in DIP]
    if top:
        lines += ["D13*"] + [xy(p) + "D03*" for c in RESISTORS for p in resistor_pads(c)]
    lines += ["D14*"] + [xy(p) + "D03*" for p in VIAS]
    lines += ["D15*", "G01*"]
    if top:
        lines += track([HEADER[1], (9.0, 10.54), (18.0, 10.54), (20.0, 12.54)])
        lines += track([HEADER[2], (10.0, 13.08), (16.0, 16.0), (18.5, 16.0), (20.0, 15.08)])
        lines += track([HEADER[4], (10.0, 18.16), (13.0, 22.0)])
        lines += track([DIP[4], (30.0, 10.0), (32.0, 6.0)])
        lines += track([DIP[5], (33.0, 12.54), (35.0, 10.0), resistor_pads(RESISTORS[0])[0]])
        lines += track([DIP[6], (35.0, 15.08), resistor_pads(RESISTORS[1])[0]])
        lines += track([DIP[7], (30.0, 17.62), (34.0, 21.0), (35.5, 25.0), resistor_pads(RESISTORS[2])[0]])
        # The resistors' far ends meet on a wider supply track with an arc round to the via.
        ends = [resistor_pads(c)[1] for c in RESISTORS]
        lines += ["D16*"] + track([ends[0], (42.0, 10.0), (42.0, 25.0)])
        lines += track([ends[1], (42.0, 17.5)]) + track([ends[2], (42.0, 25.0)])
        lines += ["G75*", xy((42.0, 25.0)) + "D02*", "G02*", xy((44.0, 27.0)) + "I%sJ%sD01*" % (n(2.0), n(0.0)), "G01*"]
        lines += track([(44.0, 27.0), (44.0, 28.0)])
    else:
        for t in BOTTOM_TRACKS:
            lines += track(t)
    lines += ["M02*"]
    return lines


def outline():
    lines = header("Profile,NP")
    lines += ["%TA.AperFunction,Profile*%", "%ADD10C,0.100000*%", "%TD*%", "D10*", "G75*", "G01*"]
    lines += [xy((R, 0.0)) + "D02*", xy((W - R, 0.0)) + "D01*"]
    corners = [((W - R, 0.0), (W, R), (0.0, R)), ((W, H - R), (W - R, H), (-R, 0.0)),
               ((R, H), (0.0, H - R), (0.0, -R)), ((0.0, R), (R, 0.0), (R, 0.0))]
    straight = [(W, H - R), (R, H), (0.0, R)]
    for i, (_, end, (i_off, j_off)) in enumerate(corners):
        lines += ["G03*", "%sI%sJ%sD01*" % (xy(end), n(i_off), n(j_off)), "G01*"]
        if i < 3:
            lines += [xy(straight[i]) + "D01*"]
    lines += ["M02*"]
    return lines


def drill():
    tools = [("PLATED", 0.3, VIAS), ("PLATED", 0.8, DIP),
             ("PLATED", 1.0, HEADER), ("NON_PLATED", 3.2, MOUNTING)]
    lines = ["M48", ";FILE_FORMAT=3:3", "METRIC,LZ,000.000"]
    for i, (kind, size, _) in enumerate(tools, 1):
        lines += [";TYPE=" + kind, "T%dC%.3f" % (i, size)]
    lines += ["%", "G90", "G05"]
    for i, (_, _, holes) in enumerate(tools, 1):
        lines += ["T%d" % i] + ["X%06dY%06d" % (round(x * 1000), round(y * 1000)) for x, y in holes]
    lines += ["M30"]
    return lines


def main():
    here = os.path.join(os.path.dirname(os.path.abspath(__file__)), "board")
    os.makedirs(here, exist_ok=True)
    files = {"demo-top.gbr": copper(True), "demo-bottom.gbr": copper(False),
             "demo-outline.gbr": outline(), "demo-drill.drl": drill()}
    for name, lines in files.items():
        with open(os.path.join(here, name), "w") as f:
            f.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
