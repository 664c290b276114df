"""A certificate authority in a scratch folder, and certificates that it signed or did not sign, made by openssl."""

import ssl
import subprocess

KEY = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"]


class Authority:
    def __init__(self, folder):
        self.folder = folder
        self.file = folder / "ca.pem"
        self.openssl("req", "-x509", *KEY, "-keyout", "ca.key", "-out", "ca.pem", "-subj", "/CN=Scratch CA", "-days", "2")

    def openssl(self, *arguments):
        subprocess.run(["openssl", *arguments], cwd=self.folder, check=True, capture_output=True)

    def signs(self, name, hosts="DNS:localhost,IP:127.0.0.1", days=2):
        """Files of a certificate and its key."""
        (self.folder / f"{name}.ext").write_text(f"subjectAltName={hosts}\n")
        self.openssl("req", *KEY, "-keyout", f"{name}.key", "-out", f"{name}.csr", "-subj", f"/CN={name}")
        self.openssl("x509", "-req", "-in", f"{name}.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
                     "-days", str(days), "-extfile", f"{name}.ext", "-out", f"{name}.pem")
        return self.folder / f"{name}.pem", self.folder / f"{name}.key"

    def context(self, name, **options):
        """The TLS context of a server with such a certificate."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*self.signs(name, **options))
        return context
