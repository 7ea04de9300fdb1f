"""Reading the gettext catalogues installed on this system, for the scripts that pick texts to draw."""
import subprocess


def entries(locale, mo_file):
    """The entries of /usr/share/locale/LOCALE/LC_MESSAGES/MO_FILE as msgunfmt writes them, one string each (none
    without the catalogue or msgunfmt)."""
    path = "/usr/share/locale/%s/LC_MESSAGES/%s" % (locale, mo_file)
    try:
        po = subprocess.run(["msgunfmt", path], capture_output=True, text=True, check=True).stdout
    except (subprocess.CalledProcessError, FileNotFoundError):
        return []
    return po.split("\n\n")
