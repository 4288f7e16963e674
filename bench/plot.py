"""A plot of one measured cost, as an SVG picture that is readable on light and dark pages."""
from xml.sax.saxutils import escape

WIDTH, HEIGHT = 640, 360
LEFT, RIGHT, TOP, BOTTOM = 70, 20, 44, 52
INK, LINE, DOT, PAPER = "#4a4f57", "#c9ced6", "#0b62a8", "#ffffff"


def round_up(value):
    """The smallest of 1, 2 and 5 times a power of ten that is not below the value."""
    power = 1e-9
    while True:
        for step in (1, 2, 5):
            if step * power >= value * (1 - 1e-12):
                return step * power
        power *= 10


def number(value):
    return f"{value:,.6g}".replace(",", " ")


def text(x, y, words, anchor="middle", size=13, more=""):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" '
            f'fill="{INK}"{more}>{escape(words)}</text>')


def svg(title, x_words, y_words, points):
    """Both axes begin at 0, so that a straight line through the corner is linear cost."""
    x_step = round_up(max(x for x, _ in points) / 6)
    y_step = round_up(max(y for _, y in points) / 6)
    x_end = x_step * -(-max(x for x, _ in points) // x_step)
    y_end = y_step * -(-max(y for _, y in points) // y_step)

    def place(x, y):
        return (LEFT + x / x_end * (WIDTH - LEFT - RIGHT),
                HEIGHT - BOTTOM - y / y_end * (HEIGHT - TOP - BOTTOM))

    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" role="img" '
        f'font-family="sans-serif"><title>{escape(title)}</title>',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="{PAPER}"/>',
        text(LEFT, 26, title, "start", 15),
    ]
    for i in range(round(y_end / y_step) + 1):
        x, y = place(0, i * y_step)
        parts.append(f'<path d="M{x:.1f} {y:.1f}H{WIDTH - RIGHT}" stroke="{LINE}"/>')
        parts.append(text(x - 8, y + 4, number(i * y_step), "end"))
    for i in range(round(x_end / x_step) + 1):
        x, y = place(i * x_step, 0)
        parts.append(text(x, y + 20, number(i * x_step)))
    middle = (TOP + HEIGHT - BOTTOM) / 2
    parts.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 10, x_words))
    parts.append(text(16, middle, y_words, more=f' transform="rotate(-90 16 {middle})"'))
    line = " ".join("{:.1f},{:.1f}".format(*place(*point)) for point in points)
    parts.append(f'<polyline points="{line}" fill="none" stroke="{DOT}" stroke-width="2"/>')
    for point in points:
        x, y = place(*point)
        parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="4" fill="{DOT}"/>')
    return "\n".join([*parts, "</svg>"]) + "\n"
