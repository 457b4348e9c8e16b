"""A small shop that tells what its users do."""

from __future__ import annotations

from dataclasses import dataclass

import zentara


@dataclass
class Product:
    id: str
    price: float


class Shop:
    def __init__(self, client: zentara.Client, language: str = "en") -> None:
        self._client = client
        self._language = language
        self._total = 0.0

    def open(self, title: str, section: str) -> None:
        self._client.send("page-view", "1", {"title": title, "section": section,
                                             "language": self._language})

    def add_to_cart(self, product: Product, quantity: int) -> None:
        total = self._total + product.price * quantity
        self._client.send("add-to-cart", "1", {
            "productId": product.id, "quantity": quantity, "unitPrice": product.price,
            "currency": "EUR", "cartTotal": f"{total:.2f}"})
        self._total = total
