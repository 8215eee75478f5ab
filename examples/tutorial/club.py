"""Rates messages on an installation and blocks who sends spam. Usage: club.py INSTALLATION"""
import sys

import velq

messages = [
    ("+447700900123", "Can you cox the eight on Sunday?"),
    ("+447700900777", "FREE SPINS tonight, claim your casino bonus"),
    ("+447700900777", "Have you seen our odds?"),
]

with velq.Engine(sys.argv[1]) as engine:
    for number, text in messages:
        rating = engine.rate(velq.prepare(text), number)
        print(rating.name.lower(), text, sep="\t")
        if rating is velq.Rating.SPAM and number not in engine.black_list:
            engine.black_list.add(number, name="blocked by club.py")
