"""``python -m qzstress archive``: an archive of recordings on a cluster, from the command line."""

from __future__ import annotations

import argparse
import sys
from collections.abc import Sequence
from typing import Any

from . import RecordError, __version__, archive, predicted_rates, protocols

FAILED, USAGE, SOME_FAILED, INTERRUPTED = 1, 2, 3, 130  # the exit codes of the program


def _span(text: str) -> tuple[float, float]:
    first, last = text.split("-")
    return float(first), float(last)


def _names(text: str) -> list[str]:
    return text.split(",")


def _yes_or_no(text: str) -> bool:
    if text not in ("yes", "no"):
        raise ValueError(text)
    return text == "yes"


# Options of the program, and what `analyze` calls them.
_OPTIONS: dict[str, tuple[str, dict[str, Any]]] = {
    "--leads": ("leads", {"type": _names, "metavar": "NAME,NAME", "help": "leads to use"}),
    "--fs": ("fs", {"type": float, "help": "samples per second of CSV"}),
    "--uv-per-bit": ("uv_per_bit", {"type": float, "help": "microvolts per unit of CSV"}),
    "--mains": ("mains_hz", {"type": int, "choices": (0, 50, 60), "help": "mains frequency, Hz"}),
    "--paced": ("paced", {"type": _yes_or_no, "metavar": "yes|no", "help": "whether a pacemaker is at work"}),
    "--comb": ("comb", {"action": "store_true", "help": "take out every harmonic of 50 Hz"}),
    "--lowpass": ("lowpass_hz", {"type": int, "help": "cutoff, Hz; 0 for none"}),
    "--smooth": ("smooth", {"type": int, "choices": (0, 1, 2), "help": "strength of the smoother"}),
    "--post-j": ("post_j_ms", {"type": int, "help": "fixed ST point, ms"}),
    "--st-rate-limit": (
        "st_rate_limit_per_min",
        {"type": float, "help": "rate above which ST is at J + 60 ms"},
    ),
    "--q-point": ("q_point_ms", {"type": float, "help": "onset of the QRS set by hand, ms from R"}),
    "--j-point": ("j_point_ms", {"type": float, "help": "end of the QRS set by hand, ms from R"}),
    "--st-point": ("st_point_ms", {"type": float, "help": "ST point set by hand, ms after J"}),
    "--reference": ("reference_s", {"type": _span, "metavar": "S-S", "help": "from where changes count"}),
    "--anonymous": ("anonymous", {"action": "store_true", "help": "leave persons and remarks out"}),
    "--angina": ("angina", {"type": int, "choices": (0, 1, 2), "help": "0 none, 1 not limiting, 2 limiting"}),
    "--exercise-seconds": ("exercise_s", {"type": float, "help": "exercise time"}),
    "--protocol": ("protocol", {"choices": protocols, "help": "named stages"}),
    "--exercise-start": ("exercise_start_s", {"type": float, "help": "second at which the protocol starts"}),
    "--predicted": ("predicted", {"choices": predicted_rates, "help": "formula of the maximal heart rate"}),
    "--stages": ("stages", {"metavar": "END", "help": "files of stages beside the recordings, as .atr"}),
    "--patient": ("patient", {"metavar": "END", "help": "files of patients, as .patient.json"}),
    "--bp": ("pressures", {"metavar": "END", "help": "files of blood pressures, as .bp.csv"}),
}


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python -m qzstress", description="Parts of qzstress for Python.")
    parser.add_argument("--version", action="version", version=__version__)
    commands = parser.add_subparsers(dest="command", required=True)
    command = commands.add_parser(
        "archive",
        help="analyse many recordings on a cluster",
        description="Analyse many recordings on a cluster of Dask, and keep the results as a Parquet "
        "dataset. Begun again, it does what is missing.",
        epilog="Exit codes: 0 done, 1 cannot be done, 2 wrong usage, 3 some recordings failed, "
        "130 interrupted.",
    )
    command.add_argument(
        "input", metavar="INPUT", help="folder with recordings, or a list of them; path or URL"
    )
    command.add_argument("--out", required=True, help="folder or URL for the results")
    command.add_argument("--scheduler", metavar="ADDRESS", help="of the cluster; without it this machine")
    command.add_argument(
        "--timeout",
        type=float,
        default=600.0,
        metavar="S",
        help="seconds after which a recording is given up, 0 for never (%(default)g)",
    )
    command.add_argument(
        "--tries", type=int, default=2, metavar="N", help="tries of a recording (%(default)d)"
    )
    command.add_argument("--quiet", action="store_true", help="no progress")
    study = command.add_argument_group("options of the analysis, as the program has them")
    for option, (name, rest) in _OPTIONS.items():
        study.add_argument(option, dest=name, **rest)
    return parser


def main(words: Sequence[str] | None = None) -> int:
    """Run a command; return the exit code."""
    told = _parser().parse_args(words)
    options = {name: getattr(told, name) for name, _ in _OPTIONS.values()}
    try:
        done = archive(
            told.input,
            told.out,
            told.scheduler,
            options=options,
            time_limit_s=told.timeout,
            tries=told.tries,
            progress=not told.quiet,
        )
    except KeyboardInterrupt:
        print("qzstress: interrupted; begin again with the same words", file=sys.stderr)
        return INTERRUPTED
    except (RecordError, ImportError, OSError, RuntimeError) as error:
        print(f"qzstress: {error}", file=sys.stderr)
        return FAILED
    except (TypeError, ValueError) as error:
        print(f"qzstress: {error}", file=sys.stderr)
        return USAGE
    return SOME_FAILED if done.failures else 0


if __name__ == "__main__":
    sys.exit(main())
